#ifndef BRENIK3_ARCHIVE_DESTINATIONS_H
#define BRENIK3_ARCHIVE_DESTINATIONS_H

// The move destinations an archive knows, read from a text file with one
// destination a line: "AE_TITLE HOST PORT". Blank lines and lines starting
// with '#' are skipped.
#include <map>
#include <string>

namespace b3archive {

struct Destination {
    std::string aeTitle;
    std::string host;
    int port = 0;
};

using Destinations = std::map<std::string, Destination>;

// Reads the file at path into found. False with the reason (and the line)
// of the first problem.
bool readDestinations(const std::string& path, Destinations& found, std::string& error);

}

#endif
