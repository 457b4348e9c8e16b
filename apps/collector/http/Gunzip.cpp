#include "collector/http/Gunzip.h"

#include <zlib.h>

#include <new>
#include <utility>

namespace zentara::collector {

Gunzipped gunzip(std::string_view compressed, std::size_t limit) {
    constexpr int gzipWindow = MAX_WBITS + 16;  // with 16 added, zlib reads gzip's header
    z_stream stream{};
    if (::inflateInit2(&stream, gzipWindow) != Z_OK) throw std::bad_alloc();
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
    stream.avail_in = static_cast<uInt>(compressed.size());
    std::string body;
    int code = Z_OK;
    while (code == Z_OK && body.size() <= limit) {
        char piece[16 * 1024];
        stream.next_out = reinterpret_cast<Bytef*>(piece);
        stream.avail_out = sizeof piece;
        code = ::inflate(&stream, Z_NO_FLUSH);
        body.append(piece, sizeof piece - stream.avail_out);
    }
    const bool isWhole = code == Z_STREAM_END && stream.avail_in == 0;
    ::inflateEnd(&stream);
    if (body.size() > limit) return {.body = std::nullopt, .isTooLarge = true};
    if (!isWhole) return {};
    return {.body = std::move(body)};
}

}  // namespace zentara::collector
