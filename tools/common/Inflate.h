#ifndef BRENIK3_TOOLS_INFLATE_H
#define BRENIK3_TOOLS_INFLATE_H

#include <string>
#include <vector>

namespace b3tool {

// Inflates a raw deflate stream (no zlib or gzip wrapper), as the deflated
// transfer syntax stores its data set. False, with the reason in error, when
// the stream is damaged or ends early.
bool inflateRaw(const unsigned char* in, size_t len, std::vector<unsigned char>& out, std::string& error);

}

#endif
