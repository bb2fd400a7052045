// Writing a picture to a PNG file, in the smallest form that keeps every
// pixel: grey when the picture has no colour, a palette of 2, 4, 16 or 256
// entries when it has few colours (packed to 1, 2 or 4 bits a pixel where
// they fit), true colour otherwise. Compression is tuned for speed: board
// pictures are large flat areas that deflate well at the fastest level.
#pragma once
#include <cstdint>
#include <string>

namespace kesto::render {

// `pixels` are cairo ARGB32 rows (premultiplied alpha, native endian),
// `stride` bytes apart. The file is written beside `path` and renamed over
// it, so a reader never sees half a picture. False, with an ERROR record,
// when it cannot be written.
bool write_png(const unsigned char* pixels, int width, int height, int stride, const std::string& path);

} // namespace kesto::render
