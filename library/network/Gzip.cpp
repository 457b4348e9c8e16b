#include "network/Gzip.h"

#include <zlib.h>

#include <new>

namespace zentara {

std::string gzip(std::string_view bytes) {
    // With 16 added, zlib writes gzip's header and trailer.
    constexpr int gzipWindow = MAX_WBITS + 16;
    constexpr int memoryLevel = 8;  // zlib's default
    z_stream stream{};
    if (::deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipWindow, memoryLevel,
                       Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
    std::string compressed;
    try {
        compressed.resize(::deflateBound(&stream, bytes.size()));
    } catch (...) {
        ::deflateEnd(&stream);
        throw;
    }
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
    stream.avail_out = static_cast<uInt>(compressed.size());
    // Ends in one call, because the bound is large enough.
    ::deflate(&stream, Z_FINISH);
    compressed.resize(stream.total_out);
    ::deflateEnd(&stream);
    return compressed;
}

}  // namespace zentara
