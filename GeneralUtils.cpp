#include "GeneralUtils.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <stdexcept>
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace GeneralUtils {

using namespace std;

const char SEPERATOR = '/';
const uint32_t POLY = 0x82f63b78;

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
    const int n = vsnprintf(&str[0], static_cast<size_t>(size), fmt.c_str(), pass);
    va_end(pass);
    if (n >= 0 && n < size) {
      str.resize(static_cast<size_t>(n));
      return str;
    }
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
  ostringstream escaped;
  escaped.fill('0');
  escaped << hex;
  const char* run = value.data();
  const char* const end = run + value.size();
  for (const char* p = run; p != end; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') continue;
    // Plain bytes go out as one run, the escape behind them digit by digit.
    escaped.write(run, p - run);
    run = p + 1;
    escaped << '%' << uppercase;
    escaped.width(2);
    escaped << static_cast<unsigned>(c) << nouppercase;
  }
  escaped.write(run, end - run);
  return escaped.str();
}

// ---------------------------------------------------------------------------
// Call-chain analysis
// ---------------------------------------------------------------------------
UINT GetFirstFunctionNameAndCount(const string& sChainCall, string& sFirstFunctionName) {
  // A character gains at most one blank in front, so twice the length is room enough: one
  // allocation, and the walk writes through a pointer instead of growing the string.
  string s(2 * sChainCall.size(), '\0');
  char* out = &s[0];
  // "previous" is always the previous character of sChainCall, kept or dropped; the NUL
  // before the first one matches neither ',' nor '>'.
  char previous = '\0';
  for (const char c : sChainCall) {
    if (c == ' ') {
      if (previous == ',') *out++ = ' ';
    } else {
      if (c == '>' && previous == '>') *out++ = ' ';
      *out++ = c;
    }
    previous = c;
  }
  s.resize(static_cast<size_t>(out - s.data()));

  // The engine's invoke macros call through a wrapper whose text hides the real function.
  // Both spellings hold "__funcTemplate<", whose rare first byte makes a cheap first test.
  if (s.find("__funcTemplate<") != string::npos &&
      (s.find("templates.__funcTemplate<decltype") != string::npos ||
       s.find("__func.__funcTemplate<") != string::npos)) {
    sFirstFunctionName = "__funcTemplate<";
    return 1;
  }

  size_t openBracket = s.find_first_not_of('(');
  if (openBracket == string::npos) openBracket = s.size();
  // A miss gives npos + 1, which is 0: no call at all.
  size_t ps = s.find('(', openBracket) + 1;

  size_t byValue = 0;
  size_t pointer = 0;
  if (ps > 0) {
    const size_t dot = s.rfind('.', ps - 1);
    if (dot != string::npos) byValue = dot + 1;
    const size_t arrow = s.rfind("->", ps - 1);
    if (arrow != string::npos) pointer = arrow + 2;
  }
  const size_t start = max(openBracket, max(byValue, pointer));
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

uint32_t crc32c(uint32_t crc, const unsigned char* buf, size_t len) {
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

class FdGuard {
 public:
  explicit FdGuard(int fd) : fd_(fd) {}
  ~FdGuard() { ::close(fd_); }
  FdGuard(const FdGuard&) = delete;
  FdGuard& operator=(const FdGuard&) = delete;

 private:
  int fd_;
};

// Refreshes a shared utsname record from a fresh uname() call. The record is written only
// when the node name has changed, so callers still reading it race with nothing unless the
// host is renamed meanwhile.
const char* sharedNodeName(struct utsname& u, mutex& lock) {
  struct utsname fresh;
  if (::uname(&fresh) < 0) return "unknown";
  lock_guard<mutex> guard(lock);
  if (strcmp(u.nodename, fresh.nodename) != 0) u = fresh;
  return u.nodename;
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

const char* getHostName() {
  static struct utsname u;
  static mutex lock;
  return sharedNodeName(u, lock);
}

const char* getMachineDetails() {
  static struct utsname u;
  static mutex lock;
  return sharedNodeName(u, lock);
}

unsigned short getMachineDetailsHash() {
  const char* details = getMachineDetails();
  return sumHash(reinterpret_cast<const unsigned char*>(details), strlen(details));
}

unsigned short getMacHash() {
  unsigned short mac1 = 0;
  unsigned short mac2 = 0;
  bool foundMac1 = false;

  const int sock = ::socket(AF_INET, SOCK_DGRAM, 0);
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

  const size_t records = static_cast<size_t>(conf.ifc_len) / sizeof(struct ifreq);
  for (size_t i = 0; i < records; ++i) {
    struct ifreq* it = &ifconfbuf[i];
    // The flags are not looked at: loopback takes a place like any other interface.
    if (::ioctl(sock, SIOCGIFFLAGS, it) < 0) continue;
    if (::ioctl(sock, SIOCGIFHWADDR, it) < 0) continue;
    unsigned char* hw = reinterpret_cast<unsigned char*>(it->ifr_hwaddr.sa_data);
    if (!foundMac1) {
      mac1 = getStrHash<unsigned char>(hw, 6);
      foundMac1 = true;
    } else {
      mac2 = getStrHash<unsigned char>(hw, 6);
      break;
    }
  }
  return static_cast<unsigned short>(mac1 + mac2);
}

string GetSystemFingerprint() {
  const size_t nMaxDigits = 9;
  unsigned int cpuId[4] = {0, 0, 0, 0};
  GetCpuid(&cpuId[0], &cpuId[1], &cpuId[2], &cpuId[3]);
  const unsigned short cpuHash = getStrHash<unsigned int>(cpuId, 4);
  const char* hostName = getHostName();

  const string sAllStrings =
      sprintfString("%04X%s%04X%04X", static_cast<unsigned>(getMacHash()), hostName,
                    static_cast<unsigned>(cpuHash), static_cast<unsigned>(getMachineDetailsHash()));
  const uint32_t unHashAllStrings =
      crc32c(0, reinterpret_cast<const unsigned char*>(sAllStrings.data()), sAllStrings.size());
  string sHashAllStrings = sprintfString("%lu", static_cast<unsigned long>(unHashAllStrings));
  if (sHashAllStrings.size() > nMaxDigits) sHashAllStrings.resize(nMaxDigits);
  return sHashAllStrings;
}

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

}  // namespace

string getCidFilePath() {
  const string path = GetUntilLastSpecifiedString(readExePath(), "/");
  return path + "/" + ".did";
}

string GetCidFromFile(string installDir) {
  const string didFullPath = installDir.empty() ? getCidFilePath() : installDir + "/" + ".did";
  string cid;
  if (hasNul(didFullPath)) return cid;
  ifstream didFile(didFullPath);
  // A directory opens but fails on the first read, which getline() reports as an empty cid.
  if (didFile.is_open()) getline(didFile, cid);
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

// A directory opens as a stream on Linux and claims a huge size, then fails on the first
// read; nothing here treats it as a file.
bool isDirectory(const string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

streampos FileSize(const string& sFileName) {
  if (!hasNul(sFileName) && !isDirectory(sFileName)) {
    ifstream file(sFileName, ios::binary | ios::ate);
    if (file.good()) return file.tellg();
  }
  throw runtime_error("Cannot open file: " + GetLastErrorAsString());
}

bool CompareFiles(const string& file1, const string& file2) {
  if (hasNul(file1) || hasNul(file2) || isDirectory(file1) || isDirectory(file2)) return false;
  ifstream f1(file1, ios::binary | ios::ate);
  ifstream f2(file2, ios::binary | ios::ate);
  if (f1.fail() || f2.fail()) return false;
  const streampos size = f1.tellg();
  if (size != f2.tellg()) return false;
  f1.seekg(0);
  f2.seekg(0);
  if (f1.fail() || f2.fail()) return false;

  // Blocks drawn through the stream-buffer iterators compare far faster than single bytes.
  const size_t kBlock = 4096;
  char block1[kBlock];
  char block2[kBlock];
  istreambuf_iterator<char> it1(f1);
  istreambuf_iterator<char> it2(f2);
  try {
    for (streamoff left = size; left > 0;) {
      const size_t n = static_cast<size_t>(min<streamoff>(left, static_cast<streamoff>(kBlock)));
      copy_n(it1, n, block1);
      copy_n(it2, n, block2);
      if (memcmp(block1, block2, n) != 0) return false;
      left -= static_cast<streamoff>(n);
    }
  } catch (const ios_base::failure&) {
    // The file buffer throws on a read error: the files cannot be shown to be equal.
    return false;
  }
  return true;
}

void copyFileWr(string srce_file, string dest_file) {
  if (hasNul(srce_file) || hasNul(dest_file)) return;
  struct stat srceStat;
  if (::stat(srce_file.c_str(), &srceStat) != 0 || S_ISDIR(srceStat.st_mode)) return;
  // Opening dest truncates it, so a copy onto itself would destroy the source.
  struct stat destStat;
  if (::stat(dest_file.c_str(), &destStat) == 0 && destStat.st_dev == srceStat.st_dev &&
      destStat.st_ino == srceStat.st_ino) {
    return;
  }

  // Large stream buffers cut the number of system calls; they are set before opening,
  // where a file buffer accepts them.
  const size_t kBuffer = size_t{64} * 1024;
  vector<char> srceBuffer(kBuffer);
  vector<char> destBuffer(kBuffer);
  ifstream srce;
  srce.rdbuf()->pubsetbuf(srceBuffer.data(), static_cast<streamsize>(kBuffer));
  srce.open(srce_file, ios::binary);
  if (!srce.is_open()) return;
  ofstream dest;
  dest.rdbuf()->pubsetbuf(destBuffer.data(), static_cast<streamsize>(kBuffer));
  dest.open(dest_file, ios::binary | ios::trunc);
  if (!dest.is_open()) return;
  // An empty source sets failbit on dest; that is not an error worth a report.
  dest << srce.rdbuf();
}

string GetLastErrorAsString() { return string(); }

// ---------------------------------------------------------------------------
// Commands and console
// ---------------------------------------------------------------------------
string execCommandAndSaveOutput(const char* cmd) {
  string result;
  if (cmd == nullptr) return result;
  // A larger stdio buffer means fewer reads from the pipe; the pieces stay 127 bytes. glibc
  // takes a size only together with a buffer, and this one outlives every pclose below.
  vector<char> pipeBuffer(size_t{64} * 1024);
  FILE* pipe = ::popen(cmd, "r");
  if (pipe == nullptr) return result;
  setvbuf(pipe, pipeBuffer.data(), _IOFBF, pipeBuffer.size());
  char buffer[128];
  try {
    while (!feof(pipe)) {
      if (fgets(buffer, sizeof(buffer), pipe) != nullptr) {
        result += buffer;
        continue;
      }
      // A signal is not the end of the data; any other error is, or the loop never ends.
      if (ferror(pipe) && errno == EINTR) {
        clearerr(pipe);
        continue;
      }
      if (ferror(pipe)) break;
    }
  } catch (...) {
    ::pclose(pipe);
    throw;
  }
  ::pclose(pipe);
  return result;
}

void clean_stdin() {
  int c;
  do {
    c = getchar();
  } while (c != '\n' && c != EOF);
}

void readLine(char* input, int nMaxLenIncludingTerminatingNull) {
  if (input == nullptr || nMaxLenIncludingTerminatingNull <= 0) return;
  if (fgets(input, nMaxLenIncludingTerminatingNull, stdin) == nullptr) {
    // End of input or a read error: fgets may have left the buffer untouched or half-filled.
    input[0] = '\0';
    return;
  }
  const size_t nLen = strlen(input);
  if (nLen > 0 && input[nLen - 1] == '\n') input[nLen - 1] = '\0';
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
