#include "common/Inflate.h"

#include <zlib.h>

namespace b3tool {

bool inflateRaw(const unsigned char* in, size_t len, std::vector<unsigned char>& out, std::string& error)
{
    out.clear();
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) {
        error = "cannot start the inflater";
        return false;
    }
    stream.next_in = const_cast<unsigned char*>(in);
    stream.avail_in = static_cast<uInt>(len);
    unsigned char chunk[65536];
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = chunk;
        stream.avail_out = sizeof chunk;
        status = inflate(&stream, Z_NO_FLUSH);
        out.insert(out.end(), chunk, chunk + (sizeof chunk - stream.avail_out));
        if (status == Z_BUF_ERROR && stream.avail_in == 0)
            break;
    }
    inflateEnd(&stream);
    if (status == Z_STREAM_END)
        return true;
    error = status == Z_BUF_ERROR ? "deflated data set ends early" : "deflated data set is damaged";
    return false;
}

}
