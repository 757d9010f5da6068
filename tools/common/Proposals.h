#ifndef BRENIK3_TOOLS_PROPOSALS_H
#define BRENIK3_TOOLS_PROPOSALS_H

#include <string>
#include <vector>

namespace b3tool {

// One proposed presentation context: its abstract syntax and transfer
// syntaxes as UID strings, in the proposer's order.
struct Proposal {
    std::string sopClass;
    std::vector<std::string> syntaxes;
};

// Reads the presentation contexts of the A-ASSOCIATE-RQ waiting on the
// socket without taking it off the socket (the association layer reads it
// afterwards), waiting at most timeoutSeconds for it to arrive. Empty when
// the first PDU is no A-ASSOCIATE-RQ or does not arrive in time.
std::vector<Proposal> peekProposals(int sock, int timeoutSeconds);

}

#endif
