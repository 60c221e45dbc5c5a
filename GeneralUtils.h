#ifndef GENERALUTILS_H
#define GENERALUTILS_H

// GeneralUtils: string, hash, host, file and process helpers for the engine.
//
// Every function is a free function in namespace GeneralUtils. Failure shows in the result
// ("", false, 0 or "unknown"); the library throws nothing of its own unless a function says
// so, and exceptions of the string and stream classes (out of memory, too long) pass through.
// Results belong to the caller, except the const char* ones, which point into storage the
// library owns. The header compiles as C++11 and later.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <string>
#include <vector>

#include "os/linux/windefs.h"

// Marks the library's public functions; everything else stays hidden in a shared build.
#if defined(__GNUC__) || defined(__clang__)
#define GENERALUTILS_API __attribute__((visibility("default")))
#else
#define GENERALUTILS_API
#endif

// Deletes the object var points to, if any, and sets var to null.
#define VDELETE_S(var) \
  do {                 \
    if (var) {         \
      delete (var);    \
      (var) = nullptr; \
    }                  \
  } while (0)
// Deletes the array var points to, if any, and sets var to null.
#define VDELETE_A(var) \
  do {                 \
    if (var) {         \
      delete[](var);   \
      (var) = nullptr; \
    }                  \
  } while (0)
// Deletes the object var points to and sets var to null; var must not be null (asserted).
#define UDELETE_S(var)        \
  do {                        \
    assert((var) != nullptr); \
    delete (var);             \
    (var) = nullptr;          \
  } while (0)
// Deletes the array var points to and sets var to null; var must not be null (asserted).
#define UDELETE_A(var)        \
  do {                        \
    assert((var) != nullptr); \
    delete[](var);            \
    (var) = nullptr;          \
  } while (0)

namespace GeneralUtils {

using namespace std;

// The directory separator, as a string.
const char DIR_SEPARATOR[] = "/";

// ---------------------------------------------------------------------------
// Formatting and narrowing
// No failure of their own; out-of-memory and length errors of the string class pass through.
// ---------------------------------------------------------------------------
// fmt filled as by printf. Throws std::length_error when the output cannot fit in INT_MAX
// bytes, and at once, without growing its buffer, when vsnprintf fails for a reason more
// room cannot cure (an unconvertible %ls in the current locale, say).
GENERALUTILS_API string sprintfString(const string fmt, ...);
// Pads str with paddingChar up to num bytes, in front or behind; never shortens str.
GENERALUTILS_API void padString(string& str, size_t num, bool bInsertFromLeft, char paddingChar);
// One byte per wide character: the low 8 bits of its code. A null pwch gives "".
GENERALUTILS_API string wcharToString(WCHAR* pwch);
// One byte per wide character: the low 8 bits of its code, no translation.
GENERALUTILS_API string wstringToString(wstring ws);

// ---------------------------------------------------------------------------
// Cutting and splitting
// Pure: each works on its own copies of the arguments and cannot fail. A cut never includes
// the token itself.
// ---------------------------------------------------------------------------
// Text before the first sToken; all of sStr if it is absent, "" if sToken is empty.
GENERALUTILS_API string GetUntilFirstSpecifiedString(string sStr, string sToken);
// Text before the last sToken; all of sStr if it is absent or sToken is empty.
GENERALUTILS_API string GetUntilLastSpecifiedString(string sStr, string sToken);
// Text behind the first sToken; "" if it is absent or either argument is empty.
GENERALUTILS_API string GetTailAfterFirstSpecifiedString(string sStr, string sToken);
// Text behind the last sToken; "" if it is absent or either argument is empty.
GENERALUTILS_API string GetTailAfterLastSpecifiedString(string sStr, string sToken);
// Text before the first '\r' anywhere in sStr; failing that, before the first '\n';
// failing that, all of sStr.
GENERALUTILS_API string GetUntilFirstEndOfLine(string sStr);
// Fields between separators, empty ones kept: n separators give n + 1 fields ("" gives {""}).
GENERALUTILS_API vector<string> splitString(string s, char seperator);

// ---------------------------------------------------------------------------
// URL encoding
// ---------------------------------------------------------------------------
// value percent-encoded: bytes that are isalnum in the current C locale and "-_.~" stay
// plain, every other byte becomes '%' and two upper-case hex digits (a blank is "%20").
GENERALUTILS_API string EncodeURL(const string& value);

// ---------------------------------------------------------------------------
// Call-chain analysis
// Works on the characters of the text alone, as the preprocessor's #x renders an expression.
// ---------------------------------------------------------------------------
// Sets sFirstFunctionName to the first called function's name with its '(' ("ns::f<int>(")
// and returns 1 + the number of its occurrences that start two or more bytes behind that '('
// (any substring hit counts: "barfoo(" for "foo("). The text is read with blanks dropped,
// except one behind a comma, and with a blank between two touching '>'. A text with no '('
// gives "" and its normalised length + 1. Throws std::length_error, leaving
// sFirstFunctionName as it was, when the text starts with '(' and no '(' follows that run.
GENERALUTILS_API UINT GetFirstFunctionNameAndCount(const string& sChainCall,
                                                   string& sFirstFunctionName);

// ---------------------------------------------------------------------------
// Hashes
// None is cryptographic. They read only what they are given and cannot fail, except
// crc32cOnPath on a name it doesn't know.
// ---------------------------------------------------------------------------
// 16-bit sum of str[0..len): even elements added plain, odd ones shifted left by 8, only the
// low 16 bits of each counting. Defined for T = unsigned char and T = unsigned int only;
// str may be null only when len is 0.
template <typename T>
GENERALUTILS_API unsigned short getStrHash(T* str, unsigned short len);
extern template unsigned short getStrHash<unsigned char>(unsigned char*, unsigned short);
extern template unsigned short getStrHash<unsigned int>(unsigned int*, unsigned short);
// CRC-32C (Castagnoli) of buf[0..len), continuing from crc: 0 starts a new checksum, and a
// previous result continues it. buf may be null only when len is 0. Runs on the fastest path
// this processor has, chosen once per process; the result never depends on the path.
GENERALUTILS_API uint32_t crc32c(uint32_t crc, const unsigned char* buf, size_t len);
// crc32c bit by bit, with no table and no special instruction: slow, but the same result on
// every processor. The reference the fast paths are checked against.
GENERALUTILS_API uint32_t crc32cBitwise(uint32_t crc, const unsigned char* buf, size_t len);
// Names of the crc32c paths this processor can run: the one crc32c takes first, "bitwise" last.
GENERALUTILS_API vector<string> crc32cPaths();
// crc32c on the named path of crc32cPaths(). Throws std::invalid_argument for any other name.
GENERALUTILS_API uint32_t crc32cOnPath(const string& path, uint32_t crc, const unsigned char* buf,
                                       size_t len);
// Exactly 8 characters: the place-weighted byte sum in decimal, '0'-padded on the right and
// cut to 8 ("abc" gives "59000000"; a negative sum keeps its '-').
GENERALUTILS_API string Create8CharacterHash(string text);

// ---------------------------------------------------------------------------
// Host facts and fingerprint
// Nothing here reports an error: an unreadable part gives "unknown", "" or 0.
// ---------------------------------------------------------------------------
// "System: <sysname>, Release: <release>, Version: <version>"; on failure prints
// perror("uname") and gives "".
GENERALUTILS_API string GetOS_Name();
// The node name, or "unknown". Each distinct node name the process sees gets a record of
// this function's own that is written once and kept, unchanged, for the life of the process:
// a text once returned never changes under its reader, also while the host is renamed; the
// next call returns the record of the name at that time. Safe from any number of threads.
GENERALUTILS_API const char* getHostName();
// The node name again (not the machine type), from records of its own, or "unknown"; the
// same lifetime and thread rules as getHostName.
GENERALUTILS_API const char* getMachineDetails();
// The 16-bit sum hash of getMachineDetails' text, its bytes taken as unsigned.
GENERALUTILS_API unsigned short getMachineDetailsHash();
// Sum, wrapping at 16 bits, of the hashes of the hardware addresses of the first two
// interfaces (in the kernel's list of IPv4 interfaces, loopback included) whose flags and
// hardware address can be read; 0 when there is none or the list cannot be read.
GENERALUTILS_API unsigned short getMacHash();
// One record of the kernel's list of IPv4 interfaces, as getMacHash's walk sees it.
struct MacInterface {
  string name;               // the interface's name, as the kernel lists it
  bool hasAddress;           // its flags and hardware address could be read
  unsigned char address[6];  // the hardware address; zeros when hasAddress is false
  unsigned short hash;       // getStrHash over address; 0 when hasAddress is false
  bool counted;              // one of the two whose hashes getMacHash adds up
};
// Every record getMacHash's walk sees, in the kernel's order, from the same walk: the hashes
// of the counted ones add up to getMacHash(). Empty when the list cannot be read.
GENERALUTILS_API vector<MacInterface> getMacInterfaces();
// What the fingerprint is made of, all from one reading of the node name.
struct FingerprintParts {
  unsigned short macHash;             // getMacHash()
  string nodeName;                    // getHostName()
  unsigned short cpuHash;             // getStrHash over cpuid leaf 0's EAX, EBX, ECX, EDX
  unsigned short machineDetailsHash;  // the 16-bit sum hash of nodeName, its bytes unsigned
};
// This machine's parts, read afresh. Without cpuid (on aarch64) the four registers count as 0.
GENERALUTILS_API FingerprintParts getSystemFingerprintParts();
// The text the fingerprint is the CRC of: macHash, nodeName, cpuHash and machineDetailsHash,
// the hashes as 4 upper-case hex digits ({0x00AB, "build01", 0x1F2E, 0x1260} gives
// "00ABbuild011F2E1260").
GENERALUTILS_API string fingerprintText(const FingerprintParts& parts);
// The first 9 digits of the decimal CRC-32C of fingerprintText(parts), fewer when the CRC
// is shorter ("00ABbuild011F2E1260" has the CRC 1381262517 and gives "138126251").
GENERALUTILS_API string fingerprintOfParts(const FingerprintParts& parts);
// Up to 9 decimal digits identifying this machine, computed afresh on every call:
// fingerprintOfParts(getSystemFingerprintParts()).
GENERALUTILS_API string GetSystemFingerprint();
// GetSystemFingerprint, computed once per process (again on the next call if it threw);
// every call returns the same pointer, valid until the process exits.
GENERALUTILS_API const char* GetSystemFingerprintCStr();

// ---------------------------------------------------------------------------
// CID file
// The CID is the first line of the file ".did"; the library reads it and never writes it.
// ---------------------------------------------------------------------------
// "<directory of the running executable>/.did"; "/.did" if the executable cannot be read.
GENERALUTILS_API string getCidFilePath();
// First line of installDir + "/.did" (of getCidFilePath() when installDir is empty), a
// trailing '\r' kept; "" when the file is missing, unreadable, empty or not a regular file
// (the rules of the file-contents section below apply).
GENERALUTILS_API string GetCidFromFile(string installDir);
// GetCidFromFile with its reason: 0 and cid set, or a reason as the file-contents section
// gives them (cid ""). sDidPath is set to the file read in either case.
GENERALUTILS_API int cidFromFileReport(string installDir, string& cid, string& sDidPath);

// ---------------------------------------------------------------------------
// Paths
// Answers are false or "" on any failure; errno is left as the system call set it. A path
// holding a NUL byte names no file, so it gets false.
// ---------------------------------------------------------------------------
// True if sDir is a directory (links followed). One trailing '/' or '\\' is ignored; a lone
// "/" or "\\" is kept as it is, so "/" is the root directory.
GENERALUTILS_API bool DirectoryExists(string sDir);
// True if stat() succeeds on sFileName (any file type, symbolic links followed).
GENERALUTILS_API bool FileExists(const string& sFileName);
// True if access(W_OK) succeeds on sDir, a file or a directory.
GENERALUTILS_API bool IsFileOrDirWritable(string sDir);
// sFolder + "/" + sFileName; no '/' added when sFolder is empty or already ends in '/'.
GENERALUTILS_API string AppendFileName(const string& sFolder, const string& sFileName);
// Directory of the running executable without a trailing '/'; "" if it cannot be read or
// the executable sits in "/".
GENERALUTILS_API string GetExeDir();
// "/var/tmp", fixed: no environment variable is read and nothing is checked.
GENERALUTILS_API string GetTempFolder();

// ---------------------------------------------------------------------------
// File contents
// Only regular files are files here. A directory, FIFO, socket or device is treated as a
// file that cannot be opened: FileSize throws, CompareFiles gives false, copyFileWr writes
// nothing, GetCidFromFile gives "". The decision is made on the opened descriptor (opened
// non-blocking, so a FIFO never blocks), never on the name alone. Every descriptor opened
// here is close-on-exec, a read or write interrupted by a signal resumes where it stopped,
// and no file is ever held in memory whole.
//
// The ...Report forms give the decision the plain forms make silently, as an int: 0 for
// success, an errno value, or one of the two reasons below; fileErrorText names any of them.
// ---------------------------------------------------------------------------
// A directory gives EISDIR; a FIFO, socket or device, where a regular file is needed, this.
const int kNotRegularFile = -1;
// Copy source and destination are the same file (also through a link or another spelling).
const int kSameFile = -2;
// "No such file or directory" and the like for an errno value; "Not a regular file" and
// "Same file as the source" for the two reasons above.
GENERALUTILS_API string fileErrorText(int reason);

// Size in bytes: the position of the end of the file. Throws std::runtime_error("Cannot
// open file: ") when the file cannot be opened, is not a regular file or has no end to seek
// to (a /proc file, say).
GENERALUTILS_API streampos FileSize(const string& sFileName);
// FileSize's decision without the exception: 0 and size set, or the reason (size untouched).
GENERALUTILS_API int fileSizeReport(const string& sFileName, streamoff& size);
// True if both files open and deliver exactly the bytes of their size measured at the start,
// and those agree. A file that cannot be opened or read, and one that delivers fewer or more
// bytes than its size (cut short or grown meanwhile), counts as a difference, even compared
// with itself.
GENERALUTILS_API bool CompareFiles(const string& file1, const string& file2);
// CompareFiles' decision: 0 and same set (a short or long read sets it false), or the reason
// a file could not be opened or read, with sFailedFile naming that file (same false).
GENERALUTILS_API int compareFilesReport(const string& file1, const string& file2, bool& same,
                                        string& sFailedFile);
// Replaces dest_file's content by srce_file's; reports nothing. dest_file is left as it was
// when srce_file cannot be opened or read at all, and when both name the same file. An
// existing character device (/dev/null) is written to as it is; a destination that is a
// directory, FIFO, socket or block device is left alone. A failure half-way (disk full)
// leaves dest_file with what was written. A dest_file the copy creates gets srce_file's
// permission bits less the umask, never set-user-ID, set-group-ID or sticky; an existing one
// keeps its mode. Holes in srce_file stay holes in a regular dest_file.
GENERALUTILS_API void copyFileWr(string srce_file, string dest_file);
// copyFileWr's decision: 0 exactly when dest_file now holds every byte srce_file delivered,
// else the reason, with sFailedFile naming the file it concerns.
GENERALUTILS_API int copyFileReport(const string& srce_file, const string& dest_file,
                                    string& sFailedFile);
// Always "": the library keeps no text for the last error.
GENERALUTILS_API string GetLastErrorAsString();

// ---------------------------------------------------------------------------
// Commands and console
// Blocking calls on the caller's thread; read errors end the output and are not reported.
// ---------------------------------------------------------------------------
// Everything cmd prints on its standard output (run by "sh -c"), until end of output or a
// read error; "" if cmd is null or cannot be started. The output is taken in pieces as
// fgets(128) cuts them: a NUL byte drops the rest of the (at most 127-byte) piece it arrives
// in. A signal never costs a byte, and the pipe is close-on-exec, so no other command
// started meanwhile inherits it. The command's status is dropped; execCommandReport gives it.
GENERALUTILS_API string execCommandAndSaveOutput(const char* cmd);
// execCommandAndSaveOutput with what became of the command: 0, with output as that function
// gives it and status as sh -c gives it (the exit status, or 128 + N when signal N killed the
// command); or the errno of a failure, status untouched: EINVAL for a null cmd and the reason a
// command could not be started, output "", or the reason its status could not be had.
GENERALUTILS_API int execCommandReport(const char* cmd, string& output, int& status);
// Reads and drops standard input up to and including the next '\n', or to end of input.
GENERALUTILS_API void clean_stdin();
// Reads one line of at most nMaxLenIncludingTerminatingNull - 1 bytes into input and drops
// its '\n'. input always ends up NUL-terminated: "" at end of input or on a read error;
// nothing is read or written when input is null or the limit is 0 or less.
GENERALUTILS_API void readLine(char* input, int nMaxLenIncludingTerminatingNull);
// readLine into a buffer of the given size, as a string; "" and nothing read for a limit
// of 0 or less. Text behind a NUL byte in the line is lost.
GENERALUTILS_API string readLineToStdString(int nMaxLenIncludingTerminatingNull);

}  // namespace GeneralUtils

#endif  // GENERALUTILS_H
