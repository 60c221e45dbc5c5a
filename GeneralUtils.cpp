#include "GeneralUtils.h"

#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_acle.h>
#include <arm_neon.h>
#include <sys/auxv.h>
#endif

namespace GeneralUtils {

using namespace std;

const char SEPERATOR = '/';
const uint32_t POLY = 0x82f63b78;

// Read sizes, one per purpose. Whole files go in large blocks, which keep the number of system
// calls low while two of them stay well under a megabyte; a CID is one short line; a pipe holds
// 64 KiB, so a larger read would never fill.
const size_t kFileBlock = size_t{128} * 1024;
const size_t kLineBlock = 4096;
const size_t kPipeBlock = size_t{64} * 1024;

namespace {

// Owns a descriptor and closes it on every path out of its scope; a negative one is no
// descriptor. close() is never retried: on Linux the descriptor is gone even when it reports
// EINTR.
class FdGuard {
 public:
  explicit FdGuard(int fd = -1) : fd_(fd) {}
  ~FdGuard() { reset(-1); }
  FdGuard(const FdGuard&) = delete;
  FdGuard& operator=(const FdGuard&) = delete;
  int get() const { return fd_; }
  void reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  // Hands the descriptor over without closing it.
  int release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }

 private:
  int fd_;
};

}  // namespace

// ---------------------------------------------------------------------------
// Formatting and narrowing
// ---------------------------------------------------------------------------
namespace {

// The size loop of sprintfString. Each pass formats from its own copy of ap, since a
// va_list that has been walked once cannot be walked again.
string formatInto(const string& fmt, va_list ap) {
  const long long first = (static_cast<long long>(fmt.size()) + 25) * 2;
  if (first > INT_MAX) throw length_error("sprintfString: format too long");
  int size = static_cast<int>(first);
  // Constructed at its first size rather than resized from empty: the cheaper path for the
  // short texts that make up most calls.
  string str(static_cast<size_t>(size), '\0');
  for (;;) {
    va_list pass;
    va_copy(pass, ap);
    errno = 0;
    const int n = vsnprintf(&str[0], static_cast<size_t>(size), fmt.c_str(), pass);
    const int error = errno;
    va_end(pass);
    if (n >= 0 && n < size) {
      str.resize(static_cast<size_t>(n));
      return str;
    }
    // A C library that fails for want of room returns -1 and leaves errno alone; one that
    // sets it (EILSEQ for an unconvertible wide character, EOVERFLOW) fails the same way at
    // any size, so growing would only burn memory up to INT_MAX.
    if (n < 0 && error != 0) throw length_error("sprintfString: vsnprintf failed");
    // vsnprintf reports at most INT_MAX, so n + 1 and 2 * size are computed in 64 bits.
    const long long next = n >= 0 ? static_cast<long long>(n) + 1 : 2LL * size;
    if (next > INT_MAX) throw length_error("sprintfString: output longer than INT_MAX bytes");
    size = static_cast<int>(next);
    str.resize(static_cast<size_t>(size));
  }
}

}  // namespace

string sprintfString(const string fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  try {
    string str = formatInto(fmt, ap);
    va_end(ap);
    return str;
  } catch (...) {
    va_end(ap);
    throw;
  }
}

void padString(string& str, size_t num, bool bInsertFromLeft, char paddingChar) {
  if (str.size() >= num) return;
  str.insert(bInsertFromLeft ? 0 : str.size(), num - str.size(), paddingChar);
}

string wcharToString(WCHAR* pwch) {
  if (pwch == nullptr) return string();
  return wstringToString(wstring(pwch));
}

string wstringToString(wstring ws) {
  string out(ws.size(), '\0');
  for (size_t i = 0; i < ws.size(); ++i) {
    // Narrowing through unsigned char keeps exactly the low 8 bits, whatever the sign of
    // wchar_t.
    out[i] = static_cast<char>(static_cast<unsigned char>(static_cast<uint32_t>(ws[i]) & 0xFFu));
  }
  return out;
}

// ---------------------------------------------------------------------------
// Cutting and splitting
// ---------------------------------------------------------------------------
string GetUntilFirstSpecifiedString(string sStr, string sToken) {
  const size_t pos = sStr.find(sToken);
  if (pos != string::npos) sStr.resize(pos);
  return sStr;
}

string GetUntilLastSpecifiedString(string sStr, string sToken) {
  const size_t pos = sStr.rfind(sToken);
  if (pos != string::npos) sStr.resize(pos);
  return sStr;
}

string GetTailAfterFirstSpecifiedString(string sStr, string sToken) {
  if (sStr.empty() || sToken.empty()) return string();
  const size_t pos = sStr.find(sToken);
  if (pos == string::npos) return string();
  return sStr.substr(pos + sToken.size());
}

string GetTailAfterLastSpecifiedString(string sStr, string sToken) {
  if (sStr.empty() || sToken.empty()) return string();
  const size_t pos = sStr.rfind(sToken);
  if (pos == string::npos) return string();
  return sStr.substr(pos + sToken.size());
}

string GetUntilFirstEndOfLine(string sStr) {
  // A carriage return anywhere wins, even after an earlier line feed.
  size_t pos = sStr.find('\r');
  if (pos == string::npos) pos = sStr.find('\n');
  if (pos != string::npos) sStr.resize(pos);
  return sStr;
}

vector<string> splitString(string s, char seperator) {
  vector<string> output;
  size_t prev_pos = 0;
  size_t pos = 0;
  while ((pos = s.find(seperator, pos)) != string::npos) {
    output.push_back(s.substr(prev_pos, pos - prev_pos));
    prev_pos = ++pos;
  }
  output.push_back(s.substr(prev_pos));
  return output;
}

// ---------------------------------------------------------------------------
// URL encoding
// ---------------------------------------------------------------------------
string EncodeURL(const string& value) {
  static const char kHex[] = "0123456789ABCDEF";
  // Built on the string itself: a string stream catches std::bad_alloc and hands back what it
  // had, where out-of-memory has to reach the caller.
  string escaped;
  escaped.reserve(value.size());
  const char* run = value.data();
  const char* const end = run + value.size();
  for (const char* p = run; p != end; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') continue;
    // Plain bytes go out as one run, the escape behind them.
    escaped.append(run, static_cast<size_t>(p - run));
    run = p + 1;
    const char escape[3] = {'%', kHex[c >> 4], kHex[c & 15]};
    escaped.append(escape, sizeof(escape));
  }
  escaped.append(run, static_cast<size_t>(end - run));
  return escaped;
}

// ---------------------------------------------------------------------------
// Call-chain analysis
// ---------------------------------------------------------------------------
namespace {

// The chain's text with blanks dropped, except one behind a comma that had any, and with a
// blank between two touching '>'.
string normaliseChain(const string& chain) {
  // A character gains at most one blank in front, so twice the length is room enough: one
  // allocation, and the walk writes through a pointer instead of growing the string.
  string s(2 * chain.size(), '\0');
  char* out = &s[0];
  // "previous" is always the previous character of the chain, kept or dropped; the NUL before
  // the first one matches neither ',' nor '>'.
  char previous = '\0';
  for (const char c : chain) {
    if (c == ' ') {
      if (previous == ',') *out++ = ' ';
    } else {
      if (c == '>' && previous == '>') *out++ = ' ';
      *out++ = c;
    }
    previous = c;
  }
  s.resize(static_cast<size_t>(out - s.data()));
  return s;
}

// The engine's invoke macros call through a wrapper whose text hides the real function.
bool isInvokeWrapper(const string& s) {
  // Both spellings hold "__funcTemplate<", whose rare first byte makes a cheap first test.
  return s.find("__funcTemplate<") != string::npos &&
         (s.find("templates.__funcTemplate<decltype") != string::npos ||
          s.find("__func.__funcTemplate<") != string::npos);
}

// Where the name of the call whose '(' ends at `end` starts: behind the last '.' or "->"
// before it, or behind the leading run of '(' (`openBracket` long), whichever comes last.
size_t nameStart(const string& s, size_t openBracket, size_t end) {
  size_t start = openBracket;
  if (end == 0) return start;
  const size_t dot = s.rfind('.', end - 1);
  if (dot != string::npos) start = max(start, dot + 1);
  const size_t arrow = s.rfind("->", end - 1);
  if (arrow != string::npos) start = max(start, arrow + 2);
  return start;
}

}  // namespace

UINT GetFirstFunctionNameAndCount(const string& sChainCall, string& sFirstFunctionName) {
  const string s = normaliseChain(sChainCall);
  if (isInvokeWrapper(s)) {
    sFirstFunctionName = "__funcTemplate<";
    return 1;
  }
  size_t openBracket = s.find_first_not_of('(');
  if (openBracket == string::npos) openBracket = s.size();
  // Behind the first call's '('. A miss gives npos + 1, which is 0: no call at all.
  size_t ps = s.find('(', openBracket) + 1;
  const size_t start = nameStart(s, openBracket, ps);
  if (start > ps) {
    throw length_error("GetFirstFunctionNameAndCount: no function name in the chain text");
  }
  sFirstFunctionName.assign(s, start, ps - start);
  // The first search starts one past ps, so a hit right behind the first '(' is not seen.
  UINT cnt = 0;
  do {
    ++cnt;
    ps = s.find(sFirstFunctionName, ps + 1);
  } while (ps != string::npos);
  return cnt;
}

// ---------------------------------------------------------------------------
// Hashes
// ---------------------------------------------------------------------------
namespace {

template <typename T>
unsigned short sumHash(const T* str, size_t len) {
  uint32_t hash = 0;
  for (size_t i = 0; i < len; ++i) {
    // Elements wider than 16 bits lose their high bits here, after the shift.
    const uint32_t v = static_cast<uint32_t>(str[i]) << ((i & 1) * 8);
    hash += v & 0xFFFFu;
  }
  return static_cast<unsigned short>(hash);
}

}  // namespace

template <typename T>
unsigned short getStrHash(T* str, unsigned short len) {
  return sumHash<T>(str, len);
}
template unsigned short getStrHash<unsigned char>(unsigned char*, unsigned short);
template unsigned short getStrHash<unsigned int>(unsigned int*, unsigned short);

uint32_t crc32cBitwise(uint32_t crc, const unsigned char* buf, size_t len) {
  crc = ~crc;
  for (size_t i = 0; i < len; ++i) {
    crc ^= buf[i];
    for (int k = 0; k < 8; ++k) {
      // Both outcomes are ready after the shift and the low bit selects one: compilers emit a
      // conditional move, so no branch depends on the data, and the chain per bit is one
      // operation shorter than building an all-ones mask from the low bit.
      crc = (crc & 1u) != 0 ? (crc >> 1) ^ POLY : crc >> 1;
    }
  }
  return ~crc;
}

namespace {

// Polynomials modulo POLY in the CRC's reflected form: bit 31 holds x^0, bit 0 holds x^31.
// a * b mod POLY, one bit of a at a time. a is always one of the constants below, so the
// branch follows the same pattern on every call and costs nothing once predicted.
constexpr uint32_t multModPoly(uint32_t a, uint32_t b) {
  uint32_t product = 0;
  for (int i = 31; i >= 0; --i) {
    if ((a >> i) & 1u) product ^= b;
    b = (b & 1u) != 0 ? (b >> 1) ^ POLY : b >> 1;  // b *= x
  }
  return product;
}

// x^n mod POLY, by squaring.
constexpr uint32_t xPowModPoly(uint64_t n) {
  uint32_t result = 1u << 31;  // x^0
  uint32_t square = 1u << 30;  // x^1
  for (; n != 0; n >>= 1) {
    if (n & 1) result = multModPoly(square, result);
    square = multModPoly(square, square);
  }
  return result;
}

#if defined(__x86_64__) || defined(__aarch64__)

// The instructions each path needs, per function, so that the library builds for any
// processor of its architecture and decides at run time. clang spells the ARMv8 extensions
// without the '+' and offers the crc32 instruction as a builtin only.
#if defined(__x86_64__)
#define GU_CRC32_TARGET "sse4.2"
#elif defined(__clang__)
#define GU_CRC32_TARGET "crc"
#define GU_PMULL_TARGET "crc,aes"
#else
#define GU_CRC32_TARGET "+crc"
#define GU_PMULL_TARGET "+crc+crypto"
#endif

// The crc32 instruction on 8 bytes and on 1 byte, the register held in 64 bits throughout.
// x86-64 and ARMv8 compute the same step, so the chains below serve both.
__attribute__((target(GU_CRC32_TARGET))) inline uint64_t crc32Step8(uint64_t c, uint64_t v) {
#if defined(__x86_64__)
  return _mm_crc32_u64(c, v);
#elif defined(__clang__)
  return __builtin_arm_crc32cd(static_cast<uint32_t>(c), v);
#else
  return __crc32cd(static_cast<uint32_t>(c), v);
#endif
}
__attribute__((target(GU_CRC32_TARGET))) inline uint64_t crc32Step1(uint64_t c, unsigned char v) {
#if defined(__x86_64__)
  return _mm_crc32_u8(static_cast<uint32_t>(c), v);
#elif defined(__clang__)
  return __builtin_arm_crc32cb(static_cast<uint32_t>(c), v);
#else
  return __crc32cb(static_cast<uint32_t>(c), v);
#endif
}

// The long inputs run as three independent chains over adjacent lanes: the crc32
// instruction takes three cycles but can start every cycle, so three chains keep it busy.
// Feeding n zero bytes to a register multiplies it by x^(8n), which is how the lanes are
// joined. The two multipliers are computed by the compiler, so no table is needed.
constexpr size_t kLane = 4096;
constexpr uint32_t kShiftLane = xPowModPoly(8 * kLane);
constexpr uint32_t kShiftTwoLanes = xPowModPoly(16 * kLane);
static_assert(kLane % 8 == 0, "lanes hold whole 8-byte words");

inline uint64_t load64(const unsigned char* p) {
  uint64_t v;
  memcpy(&v, p, sizeof(v));
  return v;
}

__attribute__((target(GU_CRC32_TARGET))) uint32_t crc32cChains(uint32_t crc, const unsigned char* p,
                                                               size_t len) {
  uint64_t c = ~crc;
  for (; len > 0 && (reinterpret_cast<uintptr_t>(p) & 7) != 0; --len) c = crc32Step1(c, *p++);
  for (; len >= 3 * kLane; len -= 3 * kLane, p += 3 * kLane) {
    uint64_t a = c, b = 0, d = 0;
    for (size_t i = 0; i < kLane; i += 8) {
      a = crc32Step8(a, load64(p + i));
      b = crc32Step8(b, load64(p + kLane + i));
      d = crc32Step8(d, load64(p + 2 * kLane + i));
    }
    c = multModPoly(kShiftTwoLanes, static_cast<uint32_t>(a)) ^
        multModPoly(kShiftLane, static_cast<uint32_t>(b)) ^ static_cast<uint32_t>(d);
  }
  for (; len >= 8; len -= 8, p += 8) c = crc32Step8(c, load64(p));
  for (; len > 0; --len) c = crc32Step1(c, *p++);
  return ~static_cast<uint32_t>(c);
}

// Folding. A 16-byte block in a vector register is the polynomial of its 128 bits, reflected
// like the CRC: bit 0 of byte 0 is x^127, so the low 64 bits hold the high half H and the high
// 64 bits the low half L. Moving a block n bytes on multiplies it by x^(8n), and H * x^(8n+64)
// and L * x^(8n) are each one carry-less multiplication by that power reduced modulo POLY, a
// 32-bit constant, the product added into the block n bytes on. The product of two reflected
// 64-bit values is the true product times x, and a 32-bit reflected constant in a 64-bit lane
// counts as itself times x^32: the exponents below make up for both. The 128 bits left at the
// end go through the crc32 instruction, which every processor with the multiplication has.
struct FoldBy {
  uint64_t high;  // multiplies H, the low 64 bits of a block
  uint64_t low;   // multiplies L, the high 64 bits
};
template <size_t kBytes>
constexpr FoldBy kFoldBy{xPowModPoly(8 * kBytes + 31), xPowModPoly(8 * kBytes - 33)};

// Below this length the single chain of crc32cChains is done before folding would have filled
// its registers, so the fingerprint's text and other short keys go there straight away.
constexpr size_t kFoldFrom = 128;

using CrcFunction = uint32_t (*)(uint32_t, const unsigned char*, size_t);

// The folding is written once, as templates over a register width W: Xmm and Ymm on x86-64,
// Neon on ARMv8. A width names its vector type V and its kBytes, and gives the one operation
// that needs its own instructions, fold(x, k): x moved on by the distance k was made for. A
// wider one also gives narrowed(x), its 16-byte lanes folded into one, of the width Narrow.
// Loads and exclusive ors are the compilers' vector operations, the same on every width.
//
// fold carries its width's target; the templates carry none and are always inlined into a
// function that does, where fold inlines in turn. So that nothing is built for a plain
// processor with a wide vector in a call, vectors go to and from fold by reference only.
#define GU_FOLD_STEP __attribute__((always_inline)) inline

template <typename W>
GU_FOLD_STEP void loadBlock(typename W::V& x, const unsigned char* p) {
  memcpy(&x, p, sizeof(x));
}
// k = f in every 16-byte lane.
template <typename W>
GU_FOLD_STEP void foldConstant(typename W::V& k, FoldBy f) {
  uint64_t halves[W::kBytes / 8] = {};
  for (size_t i = 0; i < W::kBytes / 8; ++i) halves[i] = i % 2 == 0 ? f.high : f.low;
  memcpy(&k, halves, sizeof(k));
}
// x's low 64 bits ^= c: a CRC register carried into the first block.
template <typename W>
GU_FOLD_STEP void addRegister(typename W::V& x, uint64_t c) {
  typename W::V low{};
  low[0] = c;
  x ^= low;
}
// x moved on, plus the next block at p.
template <typename W>
GU_FOLD_STEP void foldOn(typename W::V& x, const typename W::V& k, const unsigned char* p) {
  typename W::V next;
  loadBlock<W>(next, p);
  W::fold(x, k);
  x ^= next;
}
// next ^= x moved on.
template <typename W>
GU_FOLD_STEP void foldInto(const typename W::V& x, const typename W::V& k, typename W::V& next) {
  typename W::V moved = x;
  W::fold(moved, k);
  next ^= moved;
}

// The crc32 register after the bits of x, from zero.
template <typename W>
GU_FOLD_STEP uint64_t registerOf(const typename W::V& x) {
  if constexpr (W::kBytes > 16) {
    return registerOf<typename W::Narrow>(W::narrowed(x));
  } else {
    return crc32Step8(crc32Step8(0, static_cast<uint64_t>(x[0])), static_cast<uint64_t>(x[1]));
  }
}

// The CRC of x's bits followed by the len bytes at p: the last whole blocks folded on, the
// lanes narrowed, and what is left of a block on the crc32 chain.
template <typename W>
GU_FOLD_STEP uint32_t finishFold(const typename W::V& last, const unsigned char* p, size_t len) {
  typename W::V x = last;
  typename W::V k;
  foldConstant<W>(k, kFoldBy<W::kBytes>);
  for (; len >= W::kBytes; len -= W::kBytes, p += W::kBytes) foldOn<W>(x, k, p);
  if constexpr (W::kBytes > 16) {
    return finishFold<typename W::Narrow>(W::narrowed(x), p, len);
  } else {
    return crc32cChains(~static_cast<uint32_t>(registerOf<W>(x)), p, len);
  }
}

// Eight accumulators folded into the last: 4, 2 and 1 registers on.
template <typename W>
GU_FOLD_STEP void joinFolds(typename W::V* x) {
  typename W::V k;
  foldConstant<W>(k, kFoldBy<4 * W::kBytes>);
#pragma GCC unroll 4
  for (size_t i = 0; i < 4; ++i) foldInto<W>(x[i], k, x[4 + i]);
  foldConstant<W>(k, kFoldBy<2 * W::kBytes>);
  foldInto<W>(x[4], k, x[6]);
  foldInto<W>(x[5], k, x[7]);
  foldConstant<W>(k, kFoldBy<W::kBytes>);
  foldInto<W>(x[6], k, x[7]);
}

// Eight accumulators, 8 * W::kBytes a round: each waits for its own products only, so the
// multiplication's latency is hidden even where one can start every cycle. Inputs shorter
// than one round go to `shorter`.
template <typename W, CrcFunction shorter>
GU_FOLD_STEP uint32_t foldEightWays(uint32_t crc, const unsigned char* p, size_t len) {
  constexpr size_t kRound = 8 * W::kBytes;
  if (len < kRound) return shorter(crc, p, len);
  typename W::V x[8];
#pragma GCC unroll 8
  for (size_t i = 0; i < 8; ++i) loadBlock<W>(x[i], p + W::kBytes * i);
  addRegister<W>(x[0], ~crc);
  p += kRound, len -= kRound;
  typename W::V move;
  foldConstant<W>(move, kFoldBy<kRound>);
  for (; len >= kRound; len -= kRound, p += kRound) {
#pragma GCC unroll 8
    for (size_t i = 0; i < 8; ++i) foldOn<W>(x[i], move, p + W::kBytes * i);
  }
  joinFolds<W>(x);
  return finishFold<W>(x[7], p, len);
}

#endif

#if defined(__x86_64__)

#define GU_XMM_TARGET "sse4.2,pclmul"
#define GU_YMM_TARGET "sse4.2,pclmul,avx2,vpclmulqdq"
#define GU_ZMM_TARGET "sse4.2,pclmul,avx2,avx512f,vpclmulqdq"

// Folding and the crc32 instruction run on different execution units, so the longest inputs
// keep both busy: a block is folded over its first part while three crc32 chains take three
// equal lanes behind it, each from a zero register, and the four results are then shifted to
// the block's end and added. One round of the chains: kBytes more of each lane.
template <size_t kLaneBytes, size_t kBytes>
__attribute__((target(GU_CRC32_TARGET))) inline void chainRound(uint64_t& a, uint64_t& b,
                                                                uint64_t& d,
                                                                const unsigned char* p) {
#pragma GCC unroll 8
  for (size_t i = 0; i < kBytes; i += 8) {
    a = crc32Step8(a, load64(p + i));
    b = crc32Step8(b, load64(p + kLaneBytes + i));
    d = crc32Step8(d, load64(p + 2 * kLaneBytes + i));
  }
}

// A register times x^(8 * kBytes) is one carry-less multiplication by x^(8 * kBytes - 33) and
// one crc32 step from zero: the product comes out times x, and the step multiplies by x^32
// and reduces.
template <size_t kBytes>
constexpr uint64_t kShiftBy = xPowModPoly(8 * kBytes - 33);

__attribute__((target(GU_XMM_TARGET))) inline uint64_t shiftRegister(uint64_t c, uint64_t k) {
  const __m128i product = _mm_clmulepi64_si128(_mm_cvtsi64_si128(static_cast<long long>(c)),
                                               _mm_cvtsi64_si128(static_cast<long long>(k)), 0);
  return crc32Step8(0, static_cast<uint64_t>(_mm_cvtsi128_si64(product)));
}

// Blocks of 32 rounds: 8 * W::kBytes folded and kLaneRound bytes on each of three crc32 chains
// a round, the share each unit gets through in about the same time. The rest goes to `rest`.
template <typename W, size_t kLaneRound, CrcFunction rest>
GU_FOLD_STEP uint32_t foldBesideChains(uint32_t crc, const unsigned char* p, size_t len) {
  if (len < kFoldFrom) return crc32cChains(crc, p, len);
  constexpr size_t kRounds = 32, kRound = 8 * W::kBytes, kFold = kRound * kRounds;
  constexpr size_t kLane = kLaneRound * kRounds, kBlock = kFold + 3 * kLane;
  uint64_t c = ~crc;
  for (; len >= kBlock; len -= kBlock, p += kBlock) {
    const unsigned char* const lanes = p + kFold;
    typename W::V x[8];
#pragma GCC unroll 8
    for (size_t i = 0; i < 8; ++i) loadBlock<W>(x[i], p + W::kBytes * i);
    addRegister<W>(x[0], c);
    uint64_t a = 0, b = 0, d = 0;
    chainRound<kLane, kLaneRound>(a, b, d, lanes);
    typename W::V move;
    foldConstant<W>(move, kFoldBy<kRound>);
    for (size_t r = 1; r < kRounds; ++r) {
#pragma GCC unroll 8
      for (size_t i = 0; i < 8; ++i) foldOn<W>(x[i], move, p + kRound * r + W::kBytes * i);
      chainRound<kLane, kLaneRound>(a, b, d, lanes + kLaneRound * r);
    }
    joinFolds<W>(x);
    c = shiftRegister(registerOf<W>(x[7]), kShiftBy<3 * kLane>) ^
        shiftRegister(a, kShiftBy<2 * kLane>) ^ shiftRegister(b, kShiftBy<kLane>) ^ d;
  }
  return rest(~static_cast<uint32_t>(c), p, len);
}

struct Xmm {
  using V = __m128i;
  static constexpr size_t kBytes = 16;
  __attribute__((target(GU_XMM_TARGET))) static void fold(V& x, const V& k) {
    x = _mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11));
  }
};

__attribute__((target(GU_XMM_TARGET))) uint32_t foldSse(uint32_t crc, const unsigned char* p,
                                                        size_t len) {
  static_assert(8 * Xmm::kBytes <= kFoldFrom, "folding takes what the chain leaves");
  return foldEightWays<Xmm, crc32cChains>(crc, p, len);
}

// 128 bytes folded and 48 bytes on each crc32 chain a round: about the share each unit gets
// through in the same time where one 16-byte multiplication can start every cycle.
__attribute__((target(GU_XMM_TARGET))) uint32_t crc32cPclmul(uint32_t crc, const unsigned char* p,
                                                             size_t len) {
  return foldBesideChains<Xmm, 48, foldSse>(crc, p, len);
}

// Each register two 16-byte lanes that fold side by side.
struct Ymm {
  using V = __m256i;
  using Narrow = Xmm;
  static constexpr size_t kBytes = 32;
  __attribute__((target(GU_YMM_TARGET))) static void fold(V& x, const V& k) {
    x = _mm256_xor_si256(_mm256_clmulepi64_epi128(x, k, 0x00),
                         _mm256_clmulepi64_epi128(x, k, 0x11));
  }
  __attribute__((target(GU_YMM_TARGET))) static __m128i narrowed(const V& x) {
    __m128i low = _mm256_castsi256_si128(x), k;
    foldConstant<Xmm>(k, kFoldBy<16>);
    Xmm::fold(low, k);
    return _mm_xor_si128(low, _mm256_extracti128_si256(x, 1));
  }
};

__attribute__((target(GU_YMM_TARGET))) uint32_t foldAvx2(uint32_t crc, const unsigned char* p,
                                                         size_t len) {
  return foldEightWays<Ymm, foldSse>(crc, p, len);
}

// 256 bytes folded and 64 bytes on each crc32 chain a round.
__attribute__((target(GU_YMM_TARGET))) uint32_t crc32cVpclmulAvx2(uint32_t crc,
                                                                  const unsigned char* p,
                                                                  size_t len) {
  return foldBesideChains<Ymm, 64, foldAvx2>(crc, p, len);
}

// The widest registers keep a loop of their own: four accumulators are enough to hide the
// multiplication, and each product is added in by one three-way exclusive or. Constants and
// the incoming register go in as on the other widths.
struct Zmm {
  using V = __m512i;
  static constexpr size_t kBytes = 64;
};
// One 64-byte block moved on and added to `next` in one three-way exclusive or.
__attribute__((target(GU_ZMM_TARGET))) inline __m512i fold512(__m512i x, __m512i k, __m512i next) {
  return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x, k, 0x00),
                                   _mm512_clmulepi64_epi128(x, k, 0x11), next, 0x96);
}

// Four 64-byte accumulators, 256 bytes a round, each register four 16-byte lanes.
__attribute__((target(GU_ZMM_TARGET))) uint32_t crc32cVpclmulAvx512(uint32_t crc,
                                                                    const unsigned char* p,
                                                                    size_t len) {
  constexpr size_t kWays = 4, kRound = 64 * kWays;
  if (len < kFoldFrom) return crc32cChains(crc, p, len);
  if (len < kRound) return foldSse(crc, p, len);
  __m512i z[kWays], move, k128, k64;
#pragma GCC unroll 4
  for (size_t i = 0; i < kWays; ++i) z[i] = _mm512_loadu_si512(p + 64 * i);
  addRegister<Zmm>(z[0], ~crc);
  p += kRound, len -= kRound;
  foldConstant<Zmm>(move, kFoldBy<kRound>);
  for (; len >= kRound; len -= kRound, p += kRound) {
#pragma GCC unroll 4
    for (size_t i = 0; i < kWays; ++i) z[i] = fold512(z[i], move, _mm512_loadu_si512(p + 64 * i));
  }
  foldConstant<Zmm>(k128, kFoldBy<128>), foldConstant<Zmm>(k64, kFoldBy<64>);
  z[2] = fold512(z[0], k128, z[2]);
  z[3] = fold512(z[1], k128, z[3]);
  z[3] = fold512(z[2], k64, z[3]);
  for (; len >= 64; len -= 64, p += 64) z[3] = fold512(z[3], k64, _mm512_loadu_si512(p));
  // The zero-masked extracts: g++ 12 warns that the plain ones' undefined filler is read.
  Ymm::V y = _mm512_maskz_extracti64x4_epi64(0xFF, z[3], 1), k;
  foldConstant<Ymm>(k, kFoldBy<32>);
  foldInto<Ymm>(_mm512_maskz_extracti64x4_epi64(0xFF, z[3], 0), k, y);
  return finishFold<Ymm>(y, p, len);
}

#endif

#if defined(__aarch64__)

struct Neon {
  using V = uint64x2_t;
  static constexpr size_t kBytes = 16;
  __attribute__((target(GU_PMULL_TARGET))) static void fold(V& x, const V& k) {
    const poly128_t h = vmull_p64(vgetq_lane_p64(vreinterpretq_p64_u64(x), 0),
                                  vgetq_lane_p64(vreinterpretq_p64_u64(k), 0));
    const poly128_t l = vmull_high_p64(vreinterpretq_p64_u64(x), vreinterpretq_p64_u64(k));
    x = veorq_u64(vreinterpretq_u64_p128(h), vreinterpretq_u64_p128(l));
  }
};

__attribute__((target(GU_PMULL_TARGET))) uint32_t crc32cPmull(uint32_t crc, const unsigned char* p,
                                                              size_t len) {
  static_assert(8 * Neon::kBytes <= kFoldFrom, "folding takes what the chain leaves");
  return foldEightWays<Neon, crc32cChains>(crc, p, len);
}

#endif

struct CrcPath {
  const char* name;
  size_t size;  // strlen(name), so that a lookup compares lengths first
  CrcFunction run;
};

#if defined(__x86_64__)

// The CRC paths the processor offers, each with what it builds on: the wide registers also
// need the kernel to save them across switches, which XCR0 tells.
struct CrcFeatures {
  bool crc32, pclmul, avx2Clmul, avx512Clmul;
};

CrcFeatures crcFeatures() {
  CrcFeatures f{false, false, false, false};
  unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return f;
  f.crc32 = (ecx & bit_SSE4_2) != 0;
  f.pclmul = f.crc32 && (ecx & bit_PCLMUL) != 0;
  if (!f.pclmul || (ecx & bit_OSXSAVE) == 0 || (ecx & bit_AVX) == 0) return f;
  unsigned int xcr0 = 0, xcr0High = 0;
  __asm__("xgetbv" : "=a"(xcr0), "=d"(xcr0High) : "c"(0));
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return f;
  const bool vpclmul = (ecx & bit_VPCLMULQDQ) != 0;
  f.avx2Clmul = vpclmul && (ebx & bit_AVX2) != 0 && (xcr0 & 0x6) == 0x6;  // XMM, YMM
  // Opmask and both halves of the upper ZMM state besides.
  f.avx512Clmul = f.avx2Clmul && (ebx & bit_AVX512F) != 0 && (xcr0 & 0xE6) == 0xE6;
  return f;
}

#endif

// The paths this processor runs, the fastest first and the bit loop last, found once. A fixed
// array rather than a vector: crc32c allocates nothing, so it cannot fail.
struct CrcPaths {
  CrcPath path[5];
  size_t count;
  const CrcPath* begin() const { return path; }
  const CrcPath* end() const { return path + count; }
};

const CrcPaths& crcPathsHere() {
  static const CrcPaths paths = [] {
    CrcPaths found{};
    const auto add = [&found](const char* name, CrcFunction run) {
      found.path[found.count++] = CrcPath{name, strlen(name), run};
    };
#if defined(__x86_64__)
    const CrcFeatures f = crcFeatures();
    if (f.avx512Clmul) add("avx512-vpclmulqdq", crc32cVpclmulAvx512);
    if (f.avx2Clmul) add("avx2-vpclmulqdq", crc32cVpclmulAvx2);
    if (f.pclmul) add("sse4.2-pclmulqdq", crc32cPclmul);
    if (f.crc32) add("sse4.2-crc32", crc32cChains);
#elif defined(__aarch64__)
    const unsigned long hwcap = ::getauxval(AT_HWCAP);
    const bool crc32 = (hwcap & HWCAP_CRC32) != 0;
    if (crc32 && (hwcap & HWCAP_PMULL) != 0) add("armv8-pmull", crc32cPmull);
    if (crc32) add("armv8-crc32", crc32cChains);
#endif
    add("bitwise", crc32cBitwise);
    return found;
  }();
  return paths;
}

}  // namespace

uint32_t crc32c(uint32_t crc, const unsigned char* buf, size_t len) {
  // Chosen once per process; the run-time's guard makes the first call thread-safe.
  static const CrcFunction run = crcPathsHere().path[0].run;
  return run(crc, buf, len);
}

vector<string> crc32cPaths() {
  vector<string> names;
  for (const CrcPath& path : crcPathsHere()) names.emplace_back(path.name);
  return names;
}

uint32_t crc32cOnPath(const string& path, uint32_t crc, const unsigned char* buf, size_t len) {
  for (const CrcPath& p : crcPathsHere()) {
    if (path.size() == p.size && memcmp(path.data(), p.name, p.size) == 0) {
      return p.run(crc, buf, len);
    }
  }
  throw invalid_argument("No CRC-32C path of this processor: " + path);
}

string Create8CharacterHash(string text) {
  // Unsigned arithmetic wraps where the signed sum would overflow; the bits are the same.
  uint32_t x = 0;
  uint32_t y = 0;
  for (const char c : text) {
    ++y;
    x += static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c))) * y;
  }
  string retVal = sprintfString("%d", static_cast<int>(static_cast<int32_t>(x)));
  padString(retVal, 8, false, '0');
  return retVal.substr(0, 8);
}

// ---------------------------------------------------------------------------
// Host facts and fingerprint
// ---------------------------------------------------------------------------
namespace {

// The node-name records of one function. Each distinct node name gets a record that is
// written once, before it is published, and then never changed or freed: a caller may read
// a text it was given for as long as the process lives, while the host is renamed and other
// threads look up other names. The newest name is at the head, so the usual lookup is one
// comparison with no lock.
class NodeNames {
 public:
  const char* current() {
    struct utsname fresh;
    if (::uname(&fresh) < 0) return "unknown";
    if (const char* known = find(fresh.nodename)) return known;
    lock_guard<mutex> guard(lock_);
    // Another thread may have published the name since the look above.
    if (const char* known = find(fresh.nodename)) return known;
    const Record* record = new Record{fresh, head_.load(memory_order_relaxed)};
    head_.store(record, memory_order_release);
    return record->u.nodename;
  }

 private:
  struct Record {
    struct utsname u;
    const Record* next;
  };

  const char* find(const char* nodename) const {
    for (const Record* r = head_.load(memory_order_acquire); r != nullptr; r = r->next) {
      if (strcmp(r->u.nodename, nodename) == 0) return r->u.nodename;
    }
    return nullptr;
  }

  atomic<const Record*> head_{nullptr};
  mutex lock_;
};

unsigned short textHash(const char* text) {
  return sumHash(reinterpret_cast<const unsigned char*>(text), strlen(text));
}

}  // namespace

static void GetCpuid(unsigned int* b1, unsigned int* b2, unsigned int* b3, unsigned int* b4) {
#if defined(__x86_64__) || defined(__i386__)
  __cpuid_count(*b1, *b3, *b1, *b2, *b3, *b4);
#else
  *b1 = *b2 = *b3 = *b4 = 0;
#endif
}

string GetOS_Name() {
  struct utsname u;
  errno = 0;
  if (::uname(&u) < 0) {
    perror("uname");
    return string();
  }
  return sprintfString("System: %s, Release: %s, Version: %s", u.sysname, u.release, u.version);
}

// The records are never destroyed: a thread may still ask while the process exits.
const char* getHostName() {
  static NodeNames& names = *new NodeNames;
  return names.current();
}

const char* getMachineDetails() {
  static NodeNames& names = *new NodeNames;
  return names.current();
}

unsigned short getMachineDetailsHash() { return textHash(getMachineDetails()); }

namespace {

// One record of the kernel's list as the walk sees it: its name, and its hardware address
// when both its flags and the address can be read.
MacInterface readInterface(int sock, struct ifreq& record) {
  MacInterface seen = {
      string(record.ifr_name, strnlen(record.ifr_name, IFNAMSIZ)), false, {}, 0, false};
  // The flags are not looked at: loopback takes a place like any other interface.
  seen.hasAddress =
      ::ioctl(sock, SIOCGIFFLAGS, &record) >= 0 && ::ioctl(sock, SIOCGIFHWADDR, &record) >= 0;
  if (seen.hasAddress) {
    unsigned char* hw = reinterpret_cast<unsigned char*>(record.ifr_hwaddr.sa_data);
    memcpy(seen.address, hw, sizeof(seen.address));
    seen.hash = getStrHash<unsigned char>(hw, 6);
  }
  return seen;
}

// The walk over the kernel's list of IPv4 interfaces. The first two records with a hardware
// address count; the walk ends behind the second unless `all` asks for every record. Gives the
// sum of the two hashes, wrapping at 16 bits.
unsigned short macWalk(vector<MacInterface>* all) {
  const int sock = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (sock < 0) return 0;
  FdGuard sockGuard(sock);  // closes on every return below; close() is never retried
  // 5120 bytes: room for 128 interface records, typed so that the records are aligned.
  struct ifreq ifconfbuf[128];
  static_assert(sizeof(ifconfbuf) == 5120, "ifreq is 40 bytes on this platform");
  memset(ifconfbuf, 0, sizeof(ifconfbuf));
  struct ifconf conf;
  conf.ifc_len = sizeof(ifconfbuf);
  conf.ifc_req = ifconfbuf;
  if (::ioctl(sock, SIOCGIFCONF, &conf) < 0) return 0;

  unsigned short sum = 0;
  int counted = 0;
  const size_t records = static_cast<size_t>(conf.ifc_len) / sizeof(struct ifreq);
  for (size_t i = 0; i < records && (all != nullptr || counted < 2); ++i) {
    MacInterface seen = readInterface(sock, ifconfbuf[i]);
    if (seen.hasAddress && counted < 2) {
      sum = static_cast<unsigned short>(sum + seen.hash);
      seen.counted = true;
      ++counted;
    }
    if (all != nullptr) all->push_back(seen);
  }
  return sum;
}

}  // namespace

unsigned short getMacHash() { return macWalk(nullptr); }

vector<MacInterface> getMacInterfaces() {
  vector<MacInterface> all;
  macWalk(&all);
  return all;
}

FingerprintParts getSystemFingerprintParts() {
  unsigned int cpuId[4] = {0, 0, 0, 0};
  GetCpuid(&cpuId[0], &cpuId[1], &cpuId[2], &cpuId[3]);
  // One reading of the node name serves both of its places, so a rename between two
  // readings cannot mix two names into one fingerprint.
  const char* hostName = getHostName();
  return FingerprintParts{getMacHash(), hostName, getStrHash<unsigned int>(cpuId, 4),
                          textHash(hostName)};
}

string fingerprintText(const FingerprintParts& parts) {
  // The name is joined as bytes rather than through "%s", which would stop at a NUL.
  return sprintfString("%04X", static_cast<unsigned>(parts.macHash)) + parts.nodeName +
         sprintfString("%04X%04X", static_cast<unsigned>(parts.cpuHash),
                       static_cast<unsigned>(parts.machineDetailsHash));
}

string fingerprintOfParts(const FingerprintParts& parts) {
  const size_t maxDigits = 9;
  const string text = fingerprintText(parts);
  const uint32_t crc = crc32c(0, reinterpret_cast<const unsigned char*>(text.data()), text.size());
  string digits = sprintfString("%lu", static_cast<unsigned long>(crc));
  if (digits.size() > maxDigits) digits.resize(maxDigits);
  return digits;
}

string GetSystemFingerprint() { return fingerprintOfParts(getSystemFingerprintParts()); }

const char* GetSystemFingerprintCStr() {
  // The run-time's one-time guard: concurrent first callers wait, and a throw leaves the
  // string uninitialised for the next call to try again.
  static const string fingerprint = GetSystemFingerprint();
  return fingerprint.c_str();
}

// ---------------------------------------------------------------------------
// CID file
// ---------------------------------------------------------------------------
namespace {

// Path of the running executable, or "" if /proc/self/exe cannot be read. readlink()
// doesn't terminate its output, so only the count bytes it returns are used.
string readExePath() {
  char szPathWithFileName[4096];
  const ssize_t count =
      ::readlink("/proc/self/exe", szPathWithFileName, sizeof(szPathWithFileName));
  if (count < 0) return string();
  return string(szPathWithFileName, static_cast<size_t>(count));
}

bool hasNul(const string& path) { return path.find('\0') != string::npos; }

// The descriptor helpers below serve the CID file, the file contents and the command
// capture alike. Each read or write resumes after a signal with what it already has.

// One read(), or pread() at `at` when that is not negative, resumed when a signal interrupts
// it before any byte arrives.
ssize_t readSome(int fd, char* buf, size_t n, off_t at = -1) {
  ssize_t got;
  do got = at < 0 ? ::read(fd, buf, n) : ::pread(fd, buf, n, at);
  while (got < 0 && errno == EINTR);
  return got;
}

// readSome() until n bytes or the end of the file: the count (short only at the end), or -1
// with errno set.
ssize_t readFull(int fd, char* buf, size_t n, off_t at = -1) {
  size_t done = 0;
  while (done < n) {
    const off_t from = at < 0 ? at : at + static_cast<off_t>(done);
    const ssize_t got = readSome(fd, buf + done, n - done, from);
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

// write(), or pwrite() from `at` when that is not negative, until all n bytes are out: 0, or
// the errno of the failure.
int writeAll(int fd, const char* buf, size_t n, off_t at = -1) {
  while (n > 0) {
    const ssize_t put = at < 0 ? ::write(fd, buf, n) : ::pwrite(fd, buf, n, at);
    if (put < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (put == 0) return EIO;
    buf += put;
    n -= static_cast<size_t>(put);
    if (at >= 0) at += put;
  }
  return 0;
}

// Opens path for reading as a regular file: 0, fd and its status, or the reason. O_NONBLOCK
// keeps open() from waiting for a FIFO's writer; the type is then read off the open
// descriptor, so nothing can swap the file in between, and the flag is cleared again for the
// file that passes.
int openRegular(const string& path, FdGuard& fd, struct stat& st) {
  if (hasNul(path)) return ENOENT;  // a name with a NUL in it names no file
  fd.reset(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (fd.get() < 0) return errno;
  if (::fstat(fd.get(), &st) != 0) return errno;
  if (S_ISDIR(st.st_mode)) return EISDIR;
  if (!S_ISREG(st.st_mode)) return kNotRegularFile;
  return ::fcntl(fd.get(), F_SETFL, O_RDONLY) != 0 ? errno : 0;
}

}  // namespace

string getCidFilePath() {
  const string path = GetUntilLastSpecifiedString(readExePath(), "/");
  return path + "/" + ".did";
}

int cidFromFileReport(string installDir, string& cid, string& sDidPath) {
  sDidPath = installDir.empty() ? getCidFilePath() : installDir + "/" + ".did";
  cid.clear();
  FdGuard fd;
  struct stat st = {};
  const int reason = openRegular(sDidPath, fd, st);
  if (reason != 0) return reason;
  string line;
  char block[kLineBlock];
  for (;;) {
    const ssize_t n = readSome(fd.get(), block, sizeof(block));
    if (n < 0) return errno;
    if (n == 0) break;
    const char* end = static_cast<const char*>(memchr(block, '\n', static_cast<size_t>(n)));
    line.append(block, end != nullptr ? static_cast<size_t>(end - block) : static_cast<size_t>(n));
    if (end != nullptr) break;
  }
  cid.swap(line);
  return 0;
}

string GetCidFromFile(string installDir) {
  string cid;
  string didFullPath;
  cidFromFileReport(installDir, cid, didFullPath);
  return cid;
}

// ---------------------------------------------------------------------------
// Paths
// ---------------------------------------------------------------------------
bool DirectoryExists(string sDir) {
  if (sDir.empty() || hasNul(sDir)) return false;
  const char csLast = sDir.back();
  // A lone separator stays: "/" is the root directory, not an empty path.
  if ((csLast == '/' || csLast == '\\') && sDir.size() > 1) sDir.pop_back();
  struct stat st;
  if (::stat(sDir.c_str(), &st) != 0) return false;
  return S_ISDIR(st.st_mode);
}

bool FileExists(const string& sFileName) {
  if (hasNul(sFileName)) return false;
  struct stat st;
  return ::stat(sFileName.c_str(), &st) == 0;
}

bool IsFileOrDirWritable(string sDir) {
  if (hasNul(sDir)) return false;
  return ::access(sDir.c_str(), W_OK) == 0;
}

string AppendFileName(const string& sFolder, const string& sFileName) {
  string path = sFolder;
  if (!path.empty() && path.back() != SEPERATOR) path += SEPERATOR;
  path += sFileName;
  return path;
}

string GetExeDir() {
  string exe = readExePath();
  if (exe.empty()) return exe;
  return GetUntilLastSpecifiedString(exe, "/");
}

string GetTempFolder() { return "/var/tmp"; }

// ---------------------------------------------------------------------------
// File contents
// ---------------------------------------------------------------------------
namespace {

// The size of an open file, as its end's position: 0 and size, or the reason.
int endPosition(int fd, off_t& size) {
  const off_t end = ::lseek(fd, 0, SEEK_END);
  if (end < 0) return errno;
  size = end;
  return 0;
}

// Opens path as a regular file, measured and back at its start: 0, fd and size, or the reason.
int openMeasured(const string& path, FdGuard& fd, off_t& size) {
  struct stat st = {};
  int reason = openRegular(path, fd, st);
  if (reason == 0) reason = endPosition(fd.get(), size);
  if (reason == 0 && ::lseek(fd.get(), 0, SEEK_SET) != 0) reason = errno;
  return reason;
}

// Reads up to `want` bytes of each file into its block, and tells whether each delivered
// exactly `expect`: 0 and `exact`, or the errno of a failed read with `failed` the index of
// its file. The second file is not read once the first falls short.
int readEach(const FdGuard (&fds)[2], char* const (&blocks)[2], size_t want, size_t expect,
             bool& exact, int& failed) {
  exact = false;
  for (failed = 0; failed < 2; ++failed) {
    const ssize_t got = readFull(fds[failed].get(), blocks[failed], want);
    if (got < 0) return errno;
    if (static_cast<size_t>(got) != expect) return 0;
  }
  exact = true;
  return 0;
}

// Whether two open files of `size` bytes each deliver exactly that many, and the same ones. A
// file cut short meanwhile delivers a short block; one that grew has bytes past its size.
int sameContents(const FdGuard (&fds)[2], off_t size, bool& same, int& failed) {
  for (const FdGuard& fd : fds) ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
  unique_ptr<char[]> buffer(new char[2 * kFileBlock]);
  char* const blocks[2] = {buffer.get(), buffer.get() + kFileBlock};
  bool exact = false;
  for (off_t left = size; left > 0; left -= static_cast<off_t>(kFileBlock)) {
    const size_t want = static_cast<size_t>(min<off_t>(left, kFileBlock));
    const int reason = readEach(fds, blocks, want, want, exact, failed);
    if (reason != 0 || !exact || memcmp(blocks[0], blocks[1], want) != 0) return reason;
  }
  // Asked for one byte more, each must give none.
  const int reason = readEach(fds, blocks, 1, 0, exact, failed);
  same = reason == 0 && exact;
  return reason;
}

// A copy's outcome: 0, or the reason and whether it concerns the destination or the source.
struct CopyOutcome {
  int reason;
  bool atDestination;
};
const CopyOutcome kCopied = {0, false};
CopyOutcome sourceFailed(int reason) { return {reason, false}; }
CopyOutcome destinationFailed(int reason) { return {reason, true}; }

// Opens a copy's destination, emptied and ready for writing, given the source's status: 0 and
// fd, or the reason. A destination the copy creates gets the source's permission bits less the
// umask, never set-user-ID, set-group-ID or sticky; an existing one keeps its own.
int openDestination(const string& path, const struct stat& from, FdGuard& fd, bool& regular) {
  if (hasNul(path)) return ENOENT;
  // No O_TRUNC: the destination is emptied only once it is known not to be the source.
  // O_NONBLOCK makes a FIFO with no reader fail at once instead of waiting for one.
  const int flags = O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  fd.reset(::open(path.c_str(), flags, from.st_mode & 0777));
  if (fd.get() < 0) return errno;
  struct stat to = {};
  if (::fstat(fd.get(), &to) != 0) return errno;
  if (from.st_dev == to.st_dev && from.st_ino == to.st_ino) return kSameFile;
  // A character device such as /dev/null is written to as it is; a FIFO with a reader, a
  // socket or a block device is left alone.
  regular = S_ISREG(to.st_mode);
  if (!regular && !S_ISCHR(to.st_mode)) return kNotRegularFile;
  if (regular && ::ftruncate(fd.get(), 0) != 0) return errno;
  return ::fcntl(fd.get(), F_SETFL, O_WRONLY) != 0 ? errno : 0;
}

// Writes the `got` bytes already in `block`, then the rest of `in`, block by block, to `out`.
CopyOutcome pump(int in, int out, char* block, size_t got) {
  for (;;) {
    const int reason = writeAll(out, block, got);
    if (reason != 0) return destinationFailed(reason);
    if (got < kFileBlock) return kCopied;  // readFull() falls short only at the end
    const ssize_t n = readFull(in, block, kFileBlock);
    if (n < 0) return sourceFailed(errno);
    got = static_cast<size_t>(n);
  }
}

// The next stretch of data at or behind `at`: false when only a hole is left. Where the file
// system can't tell, the rest of the file is one stretch.
bool nextData(int fd, off_t at, off_t& start, off_t& end) {
  start = ::lseek(fd, at, SEEK_DATA);
  if (start < 0 && errno == ENXIO) return false;
  if (start < 0) start = at;
  end = ::lseek(fd, start, SEEK_HOLE);
  if (end < 0) end = numeric_limits<off_t>::max();
  return true;
}

CopyOutcome setSize(int out, off_t size) {
  return ::ftruncate(out, size) != 0 ? destinationFailed(errno) : kCopied;
}

// Copies `in` into the empty regular file `out` stretch by stretch, each to its own offset, so
// that the holes between stay holes. The size comes last, which keeps a hole at the end.
CopyOutcome copyStretches(int in, int out, char* block) {
  off_t at = 0;
  off_t end = 0;
  while (nextData(in, at, at, end)) {
    while (at < end) {
      const size_t want = static_cast<size_t>(min<off_t>(end - at, kFileBlock));
      const ssize_t got = readFull(in, block, want, at);
      if (got < 0) return sourceFailed(errno);
      const int reason = writeAll(out, block, static_cast<size_t>(got), at);
      if (reason != 0) return destinationFailed(reason);
      at += got;
      // The file ends early (cut meanwhile, or a size that was a placeholder): the copy ends
      // where the data did.
      if (static_cast<size_t>(got) < want) return kCopied;
    }
  }
  struct stat st = {};
  if (::fstat(in, &st) != 0) return sourceFailed(errno);
  return setSize(out, max(at, st.st_size));
}

CopyOutcome copyFile(const string& srce_file, const string& dest_file) {
  FdGuard in;
  struct stat from = {};
  int reason = openRegular(srce_file, in, from);
  if (reason != 0) return sourceFailed(reason);
  // The first block is read before the destination is touched, so a source that cannot be
  // read at all (/proc/self/mem, an I/O error) leaves the destination as it was.
  unique_ptr<char[]> block(new char[kFileBlock]);
  const ssize_t first = readFull(in.get(), block.get(), kFileBlock);
  if (first < 0) return sourceFailed(errno);
  FdGuard out;
  bool regular = false;
  reason = openDestination(dest_file, from, out, regular);
  if (reason != 0) return destinationFailed(reason);
  // Only a file with fewer blocks than its size has holes to keep. Files that claim no size
  // but deliver bytes (/proc/sys) go through the plain loop, which reads what they give.
  const bool holes = regular && from.st_blocks * 512 < from.st_size;
  CopyOutcome outcome = holes ? copyStretches(in.get(), out.get(), block.get())
                              : pump(in.get(), out.get(), block.get(), static_cast<size_t>(first));
  // A delayed write error (a full disk on some file systems) can first show in close(). The
  // descriptor is gone whatever close() says, so it is never retried; EINTR loses nothing.
  if (::close(out.release()) != 0 && outcome.reason == 0 && errno != EINTR) {
    outcome = destinationFailed(errno);
  }
  return outcome;
}

}  // namespace

string fileErrorText(int reason) {
  if (reason == kNotRegularFile) return "Not a regular file";
  if (reason == kSameFile) return "Same file as the source";
  char text[256];
  // The GNU strerror_r returns its text, which need not be in the buffer given.
  return strerror_r(reason, text, sizeof(text));
}

int fileSizeReport(const string& sFileName, streamoff& size) {
  FdGuard fd;
  off_t end = 0;
  const int reason = openMeasured(sFileName, fd, end);
  if (reason == 0) size = end;
  return reason;
}

streampos FileSize(const string& sFileName) {
  streamoff size = 0;
  if (fileSizeReport(sFileName, size) != 0) {
    throw runtime_error("Cannot open file: " + GetLastErrorAsString());
  }
  return size;
}

int compareFilesReport(const string& file1, const string& file2, bool& same, string& sFailedFile) {
  same = false;
  FdGuard fds[2];
  off_t sizes[2] = {0, 0};
  int failed = 0;  // the index of the file a failure concerns
  int reason = openMeasured(file1, fds[0], sizes[0]);
  if (reason == 0) {
    failed = 1;
    reason = openMeasured(file2, fds[1], sizes[1]);
  }
  // Files of different sizes differ, and no content is read.
  if (reason == 0 && sizes[0] == sizes[1]) reason = sameContents(fds, sizes[0], same, failed);
  if (reason != 0) sFailedFile = failed == 0 ? file1 : file2;
  return reason;
}

bool CompareFiles(const string& file1, const string& file2) {
  bool same = false;
  string failed;
  compareFilesReport(file1, file2, same, failed);
  return same;
}

int copyFileReport(const string& srce_file, const string& dest_file, string& sFailedFile) {
  const CopyOutcome outcome = copyFile(srce_file, dest_file);
  sFailedFile = outcome.reason == 0 ? "" : outcome.atDestination ? dest_file : srce_file;
  return outcome.reason;
}

void copyFileWr(string srce_file, string dest_file) {
  string failed;
  copyFileReport(srce_file, dest_file, failed);
}

string GetLastErrorAsString() { return string(); }

// ---------------------------------------------------------------------------
// Commands and console
// ---------------------------------------------------------------------------
namespace {

// Cuts a command's output into the pieces fgets() with a 128-byte buffer gives: up to and
// including a '\n', at most 127 bytes. Each piece is appended as a C string, so a NUL byte
// ends its text.
class PieceCutter {
 public:
  explicit PieceCutter(string& result) : result_(result) {}

  // The next n bytes of output. A piece that ends inside them is appended from them; only one
  // that spans two reads is gathered in piece_ first.
  void feed(const char* p, size_t n) {
    for (const char* const end = p + n; p < end;) {
      size_t take = min(kPiece - held_, static_cast<size_t>(end - p));
      const char* newline = static_cast<const char*>(memchr(p, '\n', take));
      if (newline != nullptr) take = static_cast<size_t>(newline - p) + 1;
      const bool complete = newline != nullptr || held_ + take == kPiece;
      if (held_ == 0 && complete) {
        append(p, take);
      } else {
        memcpy(piece_ + held_, p, take);
        held_ += take;
        if (complete) finish();
      }
      p += take;
    }
  }

  // Appends the piece gathered so far: at the end of the output, the last one.
  void finish() {
    append(piece_, held_);
    held_ = 0;
  }

 private:
  static const size_t kPiece = 127;
  void append(const char* piece, size_t len) { result_.append(piece, strnlen(piece, len)); }

  string& result_;
  char piece_[kPiece] = {};
  size_t held_ = 0;
};

// Closes a popen() stream on every path out of its scope, an exception's too.
class PipeGuard {
 public:
  explicit PipeGuard(FILE* pipe) : pipe_(pipe) {}
  ~PipeGuard() {
    if (pipe_ != nullptr) ::pclose(pipe_);
  }
  PipeGuard(const PipeGuard&) = delete;
  PipeGuard& operator=(const PipeGuard&) = delete;
  // Closes the stream now and waits for the command: its wait status, or -1 with errno set.
  int close() {
    FILE* pipe = pipe_;
    pipe_ = nullptr;
    return ::pclose(pipe);
  }

 private:
  FILE* pipe_;
};

}  // namespace

int execCommandReport(const char* cmd, string& output, int& status) {
  output.clear();
  if (cmd == nullptr) return EINVAL;
  errno = 0;
  FILE* pipe = ::popen(cmd, "re");
  // popen() leaves errno alone when only its own allocation fails.
  if (pipe == nullptr) return errno != 0 ? errno : ENOMEM;
  PipeGuard pipeGuard(pipe);
  // The pipe is read on its descriptor, since stdio drops a partly read piece when a signal
  // interrupts it.
  PieceCutter cutter(output);
  vector<char> block(kPipeBlock);
  for (;;) {
    const ssize_t n = readSome(fileno(pipe), block.data(), block.size());
    if (n <= 0) break;  // the end of the output, or a read error, which ends it too
    cutter.feed(block.data(), static_cast<size_t>(n));
  }
  cutter.finish();
  const int waited = pipeGuard.close();
  if (waited < 0) return errno;
  // As the shell gives it: the exit status, or 128 + the number of the signal that killed it.
  status = WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited);
  return 0;
}

string execCommandAndSaveOutput(const char* cmd) {
  string output;
  int status = 0;
  execCommandReport(cmd, output, status);
  return output;
}

namespace {

// One byte of standard input, or EOF, with `failed` set when a read error ended it. stdio
// reports a read that a signal interrupted as an error but loses nothing by it, since getc
// hands out its bytes one at a time: clearing the error and asking again resumes where the
// read stopped, and stdin's buffer stays coherent for its other readers. An error flag left
// from an earlier read, with errno untouched now, is the end of input.
int getcResumed(bool& failed) {
  for (;;) {
    errno = 0;
    const int c = getc(stdin);
    if (c != EOF || errno != EINTR || !ferror(stdin)) {
      failed = c == EOF && errno != 0 && ferror(stdin);
      return c;
    }
    clearerr(stdin);
  }
}

}  // namespace

void clean_stdin() {
  bool failed = false;
  int c;
  do {
    c = getcResumed(failed);
  } while (c != '\n' && c != EOF);
}

void readLine(char* input, int nMaxLenIncludingTerminatingNull) {
  if (input == nullptr || nMaxLenIncludingTerminatingNull <= 0) return;
  // Byte by byte, as fgets cuts it, since fgets drops the part of a line it has already read
  // when a signal interrupts the read behind it.
  bool failed = false;
  int nLen = 0;
  while (nLen < nMaxLenIncludingTerminatingNull - 1) {
    const int c = getcResumed(failed);
    if (c == EOF) break;
    input[nLen++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  // End of input before any byte, or a read error anywhere: "", as fgets gives it.
  input[failed ? 0 : nLen] = '\0';
  // The text is a C string: a NUL byte in the line ends it, and a '\n' behind one stays.
  const size_t nText = strlen(input);
  if (nText > 0 && input[nText - 1] == '\n') input[nText - 1] = '\0';
}

namespace {

// Releases a new[] buffer with VDELETE_A on every path out of its scope.
class ArrayGuard {
 public:
  explicit ArrayGuard(char*& p) : p_(p) {}
  ~ArrayGuard() { VDELETE_A(p_); }
  ArrayGuard(const ArrayGuard&) = delete;
  ArrayGuard& operator=(const ArrayGuard&) = delete;

 private:
  char*& p_;
};

}  // namespace

string readLineToStdString(int nMaxLenIncludingTerminatingNull) {
  if (nMaxLenIncludingTerminatingNull <= 0) return string();
  char* input = new char[static_cast<size_t>(nMaxLenIncludingTerminatingNull)];
  ArrayGuard inputGuard(input);
  readLine(input, nMaxLenIncludingTerminatingNull);
  string sResult(input);
  return sResult;
}

}  // namespace GeneralUtils
