// The generalutils tool's sizes and limits, shared with its tests so that they cross the same
// boundaries the tool has.
#ifndef GENERALUTILS_TOOLS_TOOL_LIMITS_H
#define GENERALUTILS_TOOLS_TOOL_LIMITS_H

#include <cstddef>

namespace gutool {

// Standard input and files are read in blocks of this size, whatever their length.
constexpr std::size_t kReadBlock = std::size_t{64} * 1024;
// crc32c reads what it checksums in blocks of this size, each starting on a page. The CRC
// runs several times faster than the system's copy into the block, so the time goes to the
// reads, and fewer, larger ones save most; the CRC then reads what the copy left in the cache.
constexpr std::size_t kCrcBlock = std::size_t{1024} * 1024;
// A checksum list's line, without its end, is at most this long: a longer one counts as
// improperly formatted and is skipped, so a list of any shape is read in bounded memory.
constexpr std::size_t kListLineMost = std::size_t{64} * 1024;
// readline's buffer size N, terminating NUL included: the default and the largest allowed.
constexpr int kReadlineDefault = 4096;
constexpr int kReadlineMost = 1048576;
// strhash's text: the most a 16-bit length covers.
constexpr std::size_t kStrhashMost = 65535;

}  // namespace gutool

#endif  // GENERALUTILS_TOOLS_TOOL_LIMITS_H
