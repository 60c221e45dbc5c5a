#!/usr/bin/env python3
"""Runs the test suite against deliberately broken copies of the library and the tool.

Each mutant below is one plausible slip: a boundary off by one, a check left out, a flag
dropped. The suite should fail on every mutant that changes behaviour; a mutant it survives
points at a gap in the tests. The work happens in a copy of the tree, so the checkout is
never touched:

    tests/mutants.py                     every mutant, results in build/mutants/results.json
    tests/mutants.py --only crc          the mutants whose name contains "crc"
    tests/mutants.py --list              the names and what each breaks

A mutant "survives" when every test still passes, is "killed" when at least one fails or
times out, and "equivalent" ones are left out of the list, as are faults only
ThreadSanitizer can see. A mutant takes ten seconds to half a minute on two cores (a rebuild
of the library and what links it, then ctest without the package tests).
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import time

LIB = "GeneralUtils.cpp"
HDR = "GeneralUtils.h"
TEXT = "tools/text_commands.cpp"
FILES = "tools/file_commands.cpp"
SYSTEM = "tools/system_commands.cpp"
MAIN = "tools/main.cpp"

# (name, file, old text, new text, occurrence of the old text to replace, counted from 1)
MUTANTS = [
    # Formatting and narrowing
    ("fmt-fit-boundary", LIB, "n >= 0 && n < size", "n >= 0 && n <= size"),
    ("fmt-grows-on-hopeless", LIB, "if (n < 0 && error != 0) throw", "if (n < 0 && error == -1) throw"),
    ("fmt-reuses-va-list", LIB, "fmt.c_str(), pass);", "fmt.c_str(), ap);"),
    ("pad-wrong-side", LIB, "bInsertFromLeft ? 0 : str.size()", "bInsertFromLeft ? str.size() : 0"),
    ("pad-shortens", LIB, "if (str.size() >= num) return;", "if (str.size() >= num) { str.resize(num); return; }"),
    ("narrow-seven-bits", LIB, "& 0xFFu)", "& 0x7Fu)"),
    ("narrow-null-text", LIB, "if (pwch == nullptr) return string();", "if (pwch == nullptr) return \"(null)\";"),
    ("vdelete-keeps-pointer", HDR, "      delete (var);    \\\n      (var) = nullptr; \\", "      delete (var);    \\"),
    # Cutting and splitting
    ("until-first-finds-last", LIB, "const size_t pos = sStr.find(sToken);\n  if (pos != string::npos) sStr.resize(pos);", "const size_t pos = sStr.rfind(sToken);\n  if (pos != string::npos) sStr.resize(pos);"),
    ("until-last-keeps-token", LIB, "const size_t pos = sStr.rfind(sToken);\n  if (pos != string::npos) sStr.resize(pos);", "const size_t pos = sStr.rfind(sToken);\n  if (pos != string::npos) sStr.resize(pos + 1);"),
    ("after-first-one-byte", LIB, "return sStr.substr(pos + sToken.size());", "return sStr.substr(pos + 1);", 1),
    ("after-last-one-byte", LIB, "return sStr.substr(pos + sToken.size());", "return sStr.substr(pos + 1);", 2),
    ("after-first-empty-token", LIB, "if (sStr.empty() || sToken.empty()) return string();", "if (sStr.empty()) return string();", 1),
    ("eol-lf-first", LIB, "size_t pos = sStr.find('\\r');\n  if (pos == string::npos) pos = sStr.find('\\n');", "size_t pos = sStr.find('\\n');\n  if (pos == string::npos) pos = sStr.find('\\r');"),
    ("split-drops-empty-tail", LIB, "output.push_back(s.substr(prev_pos));\n  return output;", "if (prev_pos < s.size()) output.push_back(s.substr(prev_pos));\n  return output;"),
    ("split-drops-empty-field", LIB, "output.push_back(s.substr(prev_pos, pos - prev_pos));", "if (pos > prev_pos) output.push_back(s.substr(prev_pos, pos - prev_pos));"),
    # URL encoding
    ("url-digits-escaped", LIB, "if (isalnum(c) ||", "if (isalpha(c) ||"),
    ("url-tilde-escaped", LIB, " || c == '~') continue;", ") continue;"),
    ("url-slash-kept", LIB, "c == '.' || c == '~'", "c == '.' || c == '/' || c == '~'"),
    ("url-lower-hex", LIB, "kHex[] = \"0123456789ABCDEF\";", "kHex[] = \"0123456789abcdef\";"),
    ("url-one-digit", LIB, "{'%', kHex[c >> 4], kHex[c & 15]};\n    escaped.append(escape, sizeof(escape));", "{'%', kHex[c < 16 ? c : c >> 4], kHex[c & 15]};\n    escaped.append(escape, c < 16 ? 2 : 3);"),
    ("url-signed-byte", LIB, "const unsigned char c = static_cast<unsigned char>(*p);\n    if (isalnum(c)", "const char c = *p;\n    if (isalnum(static_cast<unsigned char>(c))"),
    # Call-chain analysis
    ("chain-drops-comma-blank", LIB, "if (previous == ',') *out++ = ' ';", ""),
    ("chain-joins-angles", LIB, "if (c == '>' && previous == '>') *out++ = ' ';", ""),
    ("chain-any-wrapper", LIB, "s.find(\"templates.__funcTemplate<decltype\")", "s.find(\"templates.__funcTemplate<\")"),
    ("chain-plain-template-wrapper", LIB, "s.find(\"__func.__funcTemplate<\")", "s.find(\".__funcTemplate<\")"),
    ("chain-leading-parens-kept", LIB, "size_t openBracket = s.find_first_not_of('(');", "size_t openBracket = 0;"),
    ("chain-parens-only-no-throw", LIB, "if (openBracket == string::npos) openBracket = s.size();", "if (openBracket == string::npos) openBracket = 0;"),
    ("chain-name-without-paren", LIB, "sFirstFunctionName.assign(s, start, ps - start);", "sFirstFunctionName.assign(s, start, ps - start - 1);"),
    ("chain-count-from-one", LIB, "UINT cnt = 0;", "UINT cnt = 1;"),
    ("chain-count-from-open", LIB, "ps = s.find(sFirstFunctionName, ps + 1);", "ps = s.find(sFirstFunctionName, ps + 1 + (cnt == 1));"),
    ("chain-no-throw", LIB, "throw length_error(\"GetFirstFunctionNameAndCount: no function name in the chain text\");", "return 0;"),
    # Hashes
    ("strhash-odd-even", LIB, "<< ((i & 1) * 8)", "<< (((i + 1) & 1) * 8)"),
    ("strhash-cuts-to-byte", LIB, "static_cast<uint32_t>(str[i]) <<", "static_cast<uint32_t>(static_cast<unsigned char>(str[i])) <<"),
    ("strhash-signed-node-byte", LIB, "return sumHash(reinterpret_cast<const unsigned char*>(text), strlen(text));", "return sumHash(reinterpret_cast<const signed char*>(text), strlen(text));"),
    ("crc-no-preinvert", LIB, "  crc = ~crc;\n  for (size_t i = 0; i < len; ++i) {", "  for (size_t i = 0; i < len; ++i) {"),
    ("crc-poly", LIB, "const uint32_t POLY = 0x82f63b78;", "const uint32_t POLY = 0x82f63b79;"),
    ("crc-lane-shifts-swapped", LIB, "c = multModPoly(kShiftTwoLanes, static_cast<uint32_t>(a)) ^\n        multModPoly(kShiftLane,", "c = multModPoly(kShiftLane, static_cast<uint32_t>(a)) ^\n        multModPoly(kShiftTwoLanes,"),
    ("crc-lane-seed", LIB, "uint64_t a = c, b = 0, d = 0;", "uint64_t a = c, b = c, d = 0;"),
    ("crc-drops-last-byte", LIB, "for (; len > 0; --len) c = crc32Step1(c, *p++);\n  return", "for (; len > 1; --len) c = crc32Step1(c, *p++);\n  return"),
    ("crc-fold-shift-swapped", LIB, "shiftRegister(a, kShiftBy<2 * kLane>) ^ shiftRegister(b, kShiftBy<kLane>)", "shiftRegister(a, kShiftBy<kLane>) ^ shiftRegister(b, kShiftBy<2 * kLane>)"),
    ("crc-fold-constant-off", LIB, "xPowModPoly(8 * kBytes + 31), xPowModPoly(8 * kBytes - 33)", "xPowModPoly(8 * kBytes + 32), xPowModPoly(8 * kBytes - 33)"),
    ("crc-fused-drops-register", LIB, "addRegister<W>(x[0], c);", "addRegister<W>(x[0], 0);"),
    ("crc-hw-no-postinvert", LIB, "return ~static_cast<uint32_t>(c);", "return static_cast<uint32_t>(c);"),
    ("crc-lane-join-off", LIB, "multModPoly(kShiftLane, static_cast<uint32_t>(b)) ^ static_cast<uint32_t>(d)", "static_cast<uint32_t>(b) ^ static_cast<uint32_t>(d)"),
    ("hash8-unsigned-bytes", LIB, "static_cast<int32_t>(static_cast<signed char>(c))", "static_cast<int32_t>(static_cast<unsigned char>(c))"),
    ("hash8-pads-left", LIB, "padString(retVal, 8, false, '0');", "padString(retVal, 8, true, '0');"),
    ("hash8-nine-chars", LIB, "return retVal.substr(0, 8);", "return retVal.substr(0, 9);"),
    ("hash8-weight-from-zero", LIB, "    ++y;\n    x +=", "    x +=") ,
    # Host facts and fingerprint
    ("host-unknown-empty", LIB, "if (::uname(&fresh) < 0) return \"unknown\";", "if (::uname(&fresh) < 0) return \"\";"),
    ("host-one-record", LIB, "const char* getMachineDetails() {\n  static NodeNames& names = *new NodeNames;\n  return names.current();", "const char* getMachineDetails() {\n  return getHostName();"),
    ("host-shared-buffer", LIB, "const char* getHostName() {\n  static NodeNames& names = *new NodeNames;\n  return names.current();", "const char* getHostName() {\n  static struct utsname u;\n  if (::uname(&u) < 0) return \"unknown\";\n  return u.nodename;"),
    ("host-machine-type", LIB, "const char* getMachineDetails() {\n  static NodeNames& names = *new NodeNames;\n  return names.current();", "const char* getMachineDetails() {\n  static struct utsname u;\n  ::uname(&u);\n  return u.machine;"),
    ("os-name-format", LIB, "\"System: %s, Release: %s, Version: %s\"", "\"System: %s, Release: %s, Version:%s\""),
    ("os-name-silent", LIB, "    perror(\"uname\");\n", ""),
    ("mac-five-bytes", LIB, "getStrHash<unsigned char>(hw, 6)", "getStrHash<unsigned char>(hw, 5)"),
    ("fp-cpuid-leaf-1", LIB, "__cpuid_count(*b1, *b3, *b1, *b2, *b3, *b4);", "__cpuid_count(1, *b3, *b1, *b2, *b3, *b4);"),
    ("fp-not-cached", LIB, "static const string fingerprint = GetSystemFingerprint();\n  return fingerprint.c_str();", "static thread_local string fingerprint;\n  fingerprint = GetSystemFingerprint();\n  return fingerprint.c_str();"),
    # CID file and paths
    ("cid-path-no-slash", LIB, "return path + \"/\" + \".did\";", "return path + \".did\";"),
    ("cid-path-append", LIB, "return path + \"/\" + \".did\";", "return AppendFileName(path, \".did\");"),
    ("cid-install-no-slash", LIB, "installDir + \"/\" + \".did\"", "installDir + \".did\""),
    ("cid-strips-cr", LIB, "cid.swap(line);", "if (!line.empty() && line.back() == '\\r') line.pop_back();\n  cid.swap(line);"),
    ("cid-first-block-only", LIB, "if (end != nullptr) break;\n  }\n  cid.swap", "break;\n  }\n  cid.swap"),
    ("cid-whole-file", LIB, "line.append(block, end != nullptr ? static_cast<size_t>(end - block) : static_cast<size_t>(n));\n    if (end != nullptr) break;", "line.append(block, static_cast<size_t>(n));"),
    ("exedir-root-slash", LIB, "return GetUntilLastSpecifiedString(exe, \"/\");", "string dir = GetUntilLastSpecifiedString(exe, \"/\");\n  return dir.empty() ? \"/\" : dir;"),
    ("dir-root-emptied", LIB, "&& sDir.size() > 1) sDir.pop_back();", ") sDir.pop_back();"),
    ("dir-backslash-kept", LIB, "if ((csLast == '/' || csLast == '\\\\') &&", "if ((csLast == '/') &&"),
    ("dir-strips-all", LIB, "if ((csLast == '/' || csLast == '\\\\') && sDir.size() > 1) sDir.pop_back();", "while (sDir.size() > 1 && (sDir.back() == '/' || sDir.back() == '\\\\')) sDir.pop_back();"),
    ("exists-lstat", LIB, "return ::stat(sFileName.c_str(), &st) == 0;", "return ::lstat(sFileName.c_str(), &st) == 0;"),
    ("exists-nul-cut", LIB, "bool FileExists(const string& sFileName) {\n  if (hasNul(sFileName)) return false;", "bool FileExists(const string& sFileName) {"),
    ("exists-sets-errno-0", LIB, "return ::stat(sFileName.c_str(), &st) == 0;", "const bool ok = ::stat(sFileName.c_str(), &st) == 0;\n  errno = 0;\n  return ok;"),
    ("writable-read", LIB, "::access(sDir.c_str(), W_OK)", "::access(sDir.c_str(), R_OK)"),
    ("append-backslash", LIB, "if (!path.empty() && path.back() != SEPERATOR)", "if (!path.empty() && path.back() != SEPERATOR && path.back() != '\\\\')"),
    ("append-empty-folder", LIB, "if (!path.empty() && path.back() != SEPERATOR)", "if (path.back() != SEPERATOR)"),
    ("tmp-from-env", LIB, "string GetTempFolder() { return \"/var/tmp\"; }", "string GetTempFolder() {\n  const char* t = getenv(\"TMPDIR\");\n  return t != nullptr ? t : \"/var/tmp\";\n}"),
    # File contents
    ("open-blocks-on-fifo", LIB, "O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC", "O_RDONLY | O_NOCTTY | O_CLOEXEC"),
    ("open-inherited", LIB, "O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC", "O_RDONLY | O_NONBLOCK | O_NOCTTY"),
    ("error-text-not-regular", LIB, "return \"Not a regular file\";", "return \"Not a file\";"),
    ("size-from-stat", LIB, "const off_t end = ::lseek(fd, 0, SEEK_END);\n  if (end < 0) return errno;", "struct stat st;\n  if (::fstat(fd, &st) != 0) return errno;\n  const off_t end = st.st_size;"),
    ("filesize-message", LIB, "\"Cannot open file: \"", "\"Cannot open: \""),
    ("cmp-short-read-equal", LIB, "if (static_cast<size_t>(got) != expect) return 0;", "if (got == 0 && expect != 0 && failed == 1) return 0;"),
    ("copy-waits-on-fifo", LIB, "O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC", "O_WRONLY | O_CREAT | O_NOCTTY | O_CLOEXEC"),
    ("copy-dest-inherited", LIB, "O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC", "O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY"),
    ("copy-write-eintr-fails", LIB, "if (errno == EINTR) continue;\n      return errno;", "return errno;"),
    ("read-eintr-fails", LIB, "while (got < 0 && errno == EINTR);", "while (false);"),
    ("socket-inherited", LIB, "SOCK_DGRAM | SOCK_CLOEXEC", "SOCK_DGRAM"),
    # Commands and console
    ("exec-inherits-pipe", LIB, "::popen(cmd, \"re\")", "::popen(cmd, \"r\")"),
    ("exec-stderr-too", LIB, "::popen(cmd, \"re\")", "::popen((\"exec 2>&1; \" + string(cmd)).c_str(), \"re\")"),
    ("exec-piece-128", LIB, "const size_t kPiece = 127;", "const size_t kPiece = 128;"),
    ("exec-line-feed-not-a-cut", LIB, "if (newline != nullptr) take = static_cast<size_t>(newline - p) + 1;", ""),
    ("clean-reads-to-end", LIB, "} while (c != '\\n' && c != EOF);", "} while (c != EOF);"),
    ("readline-strips-cr", LIB, "if (nText > 0 && input[nText - 1] == '\\n') input[nText - 1] = '\\0';", "if (nText > 0 && input[nText - 1] == '\\n') input[nText - 1] = '\\0';\n  if (nText > 1 && input[nText - 2] == '\\r') input[nText - 2] = '\\0';"),
    ("readline-keeps-lf", LIB, "if (nText > 0 && input[nText - 1] == '\\n') input[nText - 1] = '\\0';", ""),
    ("readline-eof-untouched", LIB, "  input[failed ? 0 : nLen] = '\\0';", "  if (nLen > 0 || failed) input[failed ? 0 : nLen] = '\\0';"),
    ("console-signal-ends-read", LIB, "if (c != EOF || errno != EINTR || !ferror(stdin)) {", "if (true) {"),
    # The tool
    ("tool-cut-modes-swapped", TEXT, "{\"last\", GeneralUtils::GetUntilLastSpecifiedString},", "{\"last\", GeneralUtils::GetTailAfterLastSpecifiedString},"),
    ("tool-chain-no-count", TEXT, "line(name + '\\t' + std::to_string(count));", "line(name);"),
    ("tool-split-nul-ignored", TEXT, "const std::string end(1, a.nul ? '\\0' : '\\n');", "const std::string end(1, '\\n');"),
    ("tool-urlencode-no-lf", TEXT, "  line(\"\");\n  return kOk;", "  return kOk;"),
    ("tool-strhash-lower", MAIN, "sprintfString(\"%04X\"", "sprintfString(\"%04x\""),
    ("tool-cmp-trouble-is-false", FILES, "fail(\"cmp\", failed, GeneralUtils::fileErrorText(reason));\n    return kTrouble;", "fail(\"cmp\", failed, GeneralUtils::fileErrorText(reason));\n    return kFailed;"),
    ("tool-cp-silent", FILES, "return reason == 0 ? kOk : fail(\"cp\", failed, GeneralUtils::fileErrorText(reason));", "return reason == 0 ? kOk : kFailed;"),
    ("tool-cid-empty-ok", SYSTEM, "if (cid.empty()) return fail(\"cid\", didPath, \"First line is empty\");", ""),
    ("tool-readline-reads-ahead", SYSTEM, "readSome(STDIN_FILENO, &ch, 1)", "(std::cin.get(ch) ? 1 : 0)"),
    ("tool-readline-limit", SYSTEM, "static_cast<std::size_t>(limit) - 1;", "static_cast<std::size_t>(limit);"),
    ("tool-info-hash-lower", SYSTEM, "{\"hash\", hex4(i.hash)},", "{\"hash\", GeneralUtils::sprintfString(\"%04x\", static_cast<unsigned>(i.hash))},"),
    ("tool-info-counted-wrong", SYSTEM, "(i.counted ? \" counted\" : \" uncounted\")", "(i.hasAddress ? \" counted\" : \" uncounted\")"),
    ("tool-dash-hint-lost", MAIN, "(takesText ? \"put a text that begins with '-' behind '--'\"", "(false ? \"put a text that begins with '-' behind '--'\""),
    ("tool-message-keeps-newline", MAIN, "std::replace(message.begin(), message.end(), '\\n', ' ');", ""),
    # Written against the code by someone who had read the header, the source and the README,
    # not the tests.
    ("l-split-drops-trailing-empty", "GeneralUtils.cpp", "  output.push_back(s.substr(prev_pos));\n  return output;", "  if (prev_pos < s.size()) output.push_back(s.substr(prev_pos));\n  return output;"),
    ("l-url-tilde-escaped", "GeneralUtils.cpp", "c == '.' || c == '~'", "c == '.'"),
    ("l-chain-previous-only-kept", "GeneralUtils.cpp", "      *out++ = c;\n    }\n    previous = c;\n", "      *out++ = c;\n      previous = c;\n    }\n"),
    ("l-chain-first-arrow", "GeneralUtils.cpp", "const size_t arrow = s.rfind(\"->\", end - 1);", "const size_t arrow = s.find(\"->\");"),
    ("l-crc-lanes-swapped", "GeneralUtils.cpp", "c = multModPoly(kShiftTwoLanes, static_cast<uint32_t>(a)) ^\n        multModPoly(kShiftLane, static_cast<uint32_t>(b))", "c = multModPoly(kShiftLane, static_cast<uint32_t>(a)) ^\n        multModPoly(kShiftTwoLanes, static_cast<uint32_t>(b))"),
    ("l-cpu-check-inverted", "GeneralUtils.cpp", "(ecx & bit_SSE4_2) != 0", "(ecx & bit_SSE4_2) == 0"),
    ("l-hash8-unsigned-bytes", "GeneralUtils.cpp", "static_cast<int32_t>(static_cast<signed char>(c))", "static_cast<int32_t>(static_cast<unsigned char>(c))"),
    ("l-node-no-recheck-under-lock", "GeneralUtils.cpp", "    // Another thread may have published the name since the look above.\n    if (const char* known = find(fresh.nodename)) return known;\n", ""),
    ("l-mac-hash-five-bytes", "GeneralUtils.cpp", "seen.hash = getStrHash<unsigned char>(hw, 6);", "seen.hash = getStrHash<unsigned char>(hw, 5);"),
    ("l-cid-not-cleared", "GeneralUtils.cpp", "  cid.clear();\n  FdGuard fd;", "  FdGuard fd;"),
    ("l-cid-reads-past-first-line", "GeneralUtils.cpp", "    if (end != nullptr) break;\n  }\n  cid.swap(line);", "  }\n  cid.swap(line);"),
    ("l-open-no-nonblock", "GeneralUtils.cpp", "O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC", "O_RDONLY | O_NOCTTY | O_CLOEXEC"),
    ("l-open-no-eisdir", "GeneralUtils.cpp", "  if (S_ISDIR(st.st_mode)) return EISDIR;\n", ""),
    ("l-read-retries-eagain-not-eintr", "GeneralUtils.cpp", "  while (got < 0 && errno == EINTR);\n  return got;", "  while (got < 0 && errno == EAGAIN);\n  return got;"),
    ("l-cmp-skips-last-byte", "GeneralUtils.cpp", "memcmp(blocks[0], blocks[1], want) != 0", "memcmp(blocks[0], blocks[1], want - 1) != 0"),
    ("l-cmp-second-open-names-first", "GeneralUtils.cpp", "    failed = 1;\n    reason = openMeasured(file2", "    reason = openMeasured(file2"),
    ("l-cmp-same-not-reset", "GeneralUtils.cpp", "  same = false;\n  FdGuard fds[2];", "  FdGuard fds[2];"),
    ("l-dest-mode-keeps-special-bits", "GeneralUtils.cpp", "from.st_mode & 0777", "from.st_mode & 07777"),
    ("l-dest-opened-with-trunc", "GeneralUtils.cpp", "const int flags = O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;", "const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;"),
    ("l-dest-no-cloexec", "GeneralUtils.cpp", "const int flags = O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;", "const int flags = O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY;"),
    ("l-pump-stops-after-full-block", "GeneralUtils.cpp", "if (got < kFileBlock) return kCopied;", "if (got <= kFileBlock) return kCopied;"),
    ("l-holes-trailing-hole-lost", "GeneralUtils.cpp", "return setSize(out, max(at, st.st_size));", "return setSize(out, at);"),
    ("l-copy-report-names-swapped", "GeneralUtils.cpp", "outcome.atDestination ? dest_file : srce_file", "outcome.atDestination ? srce_file : dest_file"),
    ("l-size-set-on-failure", "GeneralUtils.cpp", "  if (reason == 0) size = end;\n", "  size = end;\n"),
    ("l-piece-128-bytes", "GeneralUtils.cpp", "static const size_t kPiece = 127;", "static const size_t kPiece = 128;"),
    ("l-popen-no-cloexec", "GeneralUtils.cpp", "::popen(cmd, \"re\")", "::popen(cmd, \"r\")"),
    ("l-status-signal-no-128", "GeneralUtils.cpp", ": 128 + WTERMSIG(waited);", ": WTERMSIG(waited);"),
    ("l-readline-one-byte-more", "GeneralUtils.cpp", "while (nLen < nMaxLenIncludingTerminatingNull - 1) {", "while (nLen < nMaxLenIncludingTerminatingNull) {"),
    ("l-getc-stale-error-fails", "GeneralUtils.cpp", "failed = c == EOF && errno != 0 && ferror(stdin);", "failed = c == EOF && ferror(stdin);"),
    ("t-final-flush-unchecked", "tools/main.cpp", "  if (!std::cout.flush()) throw OutputFailed(errno);\n  return t.status;", "  std::cout.flush();\n  return t.status;"),
    ("t-lastresort-status-always-1", "tools/main.cpp", "  return running.trouble;\n}", "  return kFailed;\n}"),
    ("t-usage-ignores-dashdash", "tools/main.cpp", "    if (arg == \"--\") break;\n", ""),
    ("c-stdin-closed-after-use", "tools/crc_commands.cpp", "FdGuard guard(name == \"-\" ? -1 : fd);\n  return streamCrc", "FdGuard guard(fd);\n  return streamCrc"),
    ("c-cr-name-not-escaped", "tools/crc_commands.cpp", "name.find_first_of(\"\\n\\r\\\\\")", "name.find_first_of(\"\\n\\\\\")"),
    ("c-star-name-single-blank", "tools/crc_commands.cpp", "(name[0] == ' ' || name[0] == '*')", "name[0] == ' '"),
    ("c-list-line-limit-inclusive", "tools/crc_commands.cpp", "tooLong = tooLong || text.size() + count > kListLineMost;", "tooLong = tooLong || text.size() + count >= kListLineMost;"),
    ("c-list-toolong-not-sticky", "tools/crc_commands.cpp", "tooLong = tooLong || text.size() + count > kListLineMost;", "tooLong = text.size() + count > kListLineMost;"),
    ("c-last-line-without-end-dropped", "tools/crc_commands.cpp", "if (n <= 0) return started && n == 0;", "if (n <= 0) return false;"),
    ("c-tag-first-separator", "tools/crc_commands.cpp", "tagEnd = text.rfind(kTagEnd);", "tagEnd = text.find(kTagEnd);"),
    ("c-ignore-missing-ignores-all-errors", "tools/crc_commands.cpp", "if (error == ENOENT && a.ignoreMissing) return;", "if (error != 0 && a.ignoreMissing) return;"),
    ("c-strict-or", "tools/crc_commands.cpp", "(a.strict && t.improper > 0)", "(a.strict || t.improper > 0)"),
    ("c-zero-list-cr-stripped", "tools/crc_commands.cpp", "if (!a.zero && !text.empty() && text.back() == '\\r') text.pop_back();", "if (!text.empty() && text.back() == '\\r') text.pop_back();"),
    ("c-tag-with-check-allowed", "tools/crc_commands.cpp", "c->add_flag(\"--tag\", a.tag, \"write 'CRC32C (NAME) = CRC' lines\")->excludes(check);", "c->add_flag(\"--tag\", a.tag, \"write 'CRC32C (NAME) = CRC' lines\");"),
    ("f-cmp-trouble-is-1", "tools/file_commands.cpp", "    fail(\"cmp\", failed, GeneralUtils::fileErrorText(reason));\n    return kTrouble;", "    return fail(\"cmp\", failed, GeneralUtils::fileErrorText(reason));"),
    ("f-cp-names-source", "tools/file_commands.cpp", "fail(\"cp\", failed, GeneralUtils::fileErrorText(reason))", "fail(\"cp\", a.source, GeneralUtils::fileErrorText(reason))"),
    ("x-strhash-limit-plus-one", "tools/text_commands.cpp", "lengthIn(0, kStrhashMost, ", "lengthIn(0, kStrhashMost + 1, "),
    ("x-urlencode-empty-reads-stdin", "tools/text_commands.cpp", "if (given->count() == 0) {", "if (text.empty()) {"),
    ("s-readline-takes-n-bytes", "tools/system_commands.cpp", "const std::size_t most = static_cast<std::size_t>(limit) - 1;", "const std::size_t most = static_cast<std::size_t>(limit);"),
    ("s-exec-no-leading-blank", "tools/system_commands.cpp", "execCommandReport((' ' + command).c_str(), output, status)", "execCommandReport(command.c_str(), output, status)"),
    ("l-fmt-exact-fit-accepted", "GeneralUtils.cpp", "if (n >= 0 && n < size) {", "if (n >= 0 && n <= size) {"),
    ("l-narrow-seven-bits", "GeneralUtils.cpp", "static_cast<uint32_t>(ws[i]) & 0xFFu", "static_cast<uint32_t>(ws[i]) & 0x7Fu"),
    ("l-eol-lf-wins", "GeneralUtils.cpp", "size_t pos = sStr.find('\\r');\n  if (pos == string::npos) pos = sStr.find('\\n');", "size_t pos = sStr.find('\\n');\n  if (pos == string::npos) pos = sStr.find('\\r');"),
    ("l-url-lower-hex", "GeneralUtils.cpp", "\"0123456789ABCDEF\"", "\"0123456789abcdef\""),
    ("l-chain-blank-not-previous", "GeneralUtils.cpp", "    previous = c;\n  }\n  s.resize", "    if (c != ' ') previous = c;\n  }\n  s.resize"),
    ("l-chain-name-keeps-dot", "GeneralUtils.cpp", "start = max(start, dot + 1);", "start = max(start, dot);"),
    ("l-chain-count-skips-two", "GeneralUtils.cpp", "ps = s.find(sFirstFunctionName, ps + 1);", "ps = s.find(sFirstFunctionName, ps + 2);"),
    ("l-strhash-even-shifted", "GeneralUtils.cpp", "<< ((i & 1) * 8);", "<< (((i + 1) & 1) * 8);"),
    ("l-fold-high-exponent-off", "GeneralUtils.cpp", "xPowModPoly(8 * kBytes + 31)", "xPowModPoly(8 * kBytes + 32)"),
    ("l-foldsse-crc-not-inverted", "GeneralUtils.cpp", "addRegister<W>(x[0], ~crc);", "addRegister<W>(x[0], crc);"),
    ("l-ymm-join-wrong-distance", "GeneralUtils.cpp", "foldConstant<W>(k, kFoldBy<2 * W::kBytes>);", "foldConstant<W>(k, kFoldBy<W::kBytes>);"),
    ("l-crc32-path-needs-pclmul", "GeneralUtils.cpp", "if (f.crc32) add(\"sse4.2-crc32\", crc32cChains);", "if (f.pclmul) add(\"sse4.2-crc32\", crc32cChains);"),
    ("l-onpath-prefix-accepted", "GeneralUtils.cpp", "if (path.size() == p.size && memcmp", "if (path.size() >= p.size && memcmp"),
    ("l-hash8-unsigned-format", "GeneralUtils.cpp", "sprintfString(\"%d\", static_cast<int>(static_cast<int32_t>(x)))", "sprintfString(\"%u\", static_cast<int>(static_cast<int32_t>(x)))"),
    ("l-node-list-forgets-older", "GeneralUtils.cpp", "new Record{fresh, head_.load(memory_order_relaxed)}", "new Record{fresh, nullptr}"),
    ("l-walk-counts-third", "GeneralUtils.cpp", "if (seen.hasAddress && counted < 2) {", "if (seen.hasAddress && counted <= 2) {"),
    ("l-walk-counts-addressless", "GeneralUtils.cpp", "if (seen.hasAddress && counted < 2) {", "if (counted < 2) {"),
    ("l-cpuid-ecx-edx-swapped", "GeneralUtils.cpp", "__cpuid_count(*b1, *b3, *b1, *b2, *b3, *b4);", "__cpuid_count(*b1, *b3, *b1, *b2, *b4, *b3);"),
    ("l-fptext-hashes-swapped", "GeneralUtils.cpp", "static_cast<unsigned>(parts.cpuHash),\n                       static_cast<unsigned>(parts.machineDetailsHash));", "static_cast<unsigned>(parts.machineDetailsHash),\n                       static_cast<unsigned>(parts.cpuHash));"),
    ("l-fingerprint-ten-digits", "GeneralUtils.cpp", "const size_t maxDigits = 9;", "const size_t maxDigits = 10;"),
    ("l-cid-read-error-ignored", "GeneralUtils.cpp", "if (n < 0) return errno;\n    if (n == 0) break;", "if (n < 0) break;\n    if (n == 0) break;"),
    ("l-isdir-root-stripped", "GeneralUtils.cpp", "&& sDir.size() > 1) sDir.pop_back();", "&& sDir.size() > 0) sDir.pop_back();"),
    ("l-join-empty-folder-slash", "GeneralUtils.cpp", "if (!path.empty() && path.back() != SEPERATOR) path += SEPERATOR;", "if (path.empty() || path.back() != SEPERATOR) path += SEPERATOR;"),
    ("l-cmp-no-extra-byte-check", "GeneralUtils.cpp", "readEach(fds, blocks, 1, 0, exact, failed);", "readEach(fds, blocks, 0, 0, exact, failed);"),
    ("l-dest-mode-drops-exec", "GeneralUtils.cpp", "from.st_mode & 0777));", "from.st_mode & 0666));"),
    ("l-dest-truncates-chardev", "GeneralUtils.cpp", "if (regular && ::ftruncate(fd.get(), 0) != 0) return errno;", "if (::ftruncate(fd.get(), 0) != 0) return errno;"),
    ("l-piece-nul-kept", "GeneralUtils.cpp", "result_.append(piece, strnlen(piece, len));", "result_.append(piece, len);"),
    ("l-exec-last-piece-dropped", "GeneralUtils.cpp", "  cutter.finish();\n  const int waited", "  const int waited"),
    ("l-exec-output-not-cleared", "GeneralUtils.cpp", "  output.clear();\n  if (cmd == nullptr) return EINVAL;", "  if (cmd == nullptr) return EINVAL;"),
    ("l-readline-error-keeps-partial", "GeneralUtils.cpp", "input[failed ? 0 : nLen] = '\\0';", "input[nLen] = '\\0';"),
    ("t-exec-trouble-is-2", "tools/commands.h", "{\"exec\", kCouldNotRun}}", "{\"exec\", kTrouble}}"),
    ("t-help-one-option-as-options", "tools/main.cpp", "sub->get_options(isOption).size() > 1;", "sub->get_options(isOption).size() >= 1;"),
    ("t-hex4-blank-padded", "tools/main.cpp", "sprintfString(\"%04X\", static_cast<unsigned>(value))", "sprintfString(\"%4X\", static_cast<unsigned>(value))"),
    ("c-sum-stops-at-unreadable", "tools/crc_commands.cpp", "      status = fail(\"crc32c\", name, std::strerror(error));\n      continue;", "      return fail(\"crc32c\", name, std::strerror(error));"),
    ("c-tag-hex-longer-accepted", "tools/crc_commands.cpp", "if (hex.size() != 8 ||", "if (hex.size() < 8 ||"),
    ("c-star-mark-not-skipped", "tools/crc_commands.cpp", "const bool modeMark = text[9] == ' ' || text[9] == '*';", "const bool modeMark = text[9] == ' ';"),
    ("c-tag-end-first-match", "tools/crc_commands.cpp", "tagEnd = text.rfind(kTagEnd);", "tagEnd = text.find(kTagEnd);"),
    ("c-status-still-names-unread", "tools/crc_commands.cpp", "if (!a.status) fail(\"crc32c\", e.name, std::strerror(error));", "fail(\"crc32c\", e.name, std::strerror(error));"),
    ("c-quiet-hides-failures", "tools/crc_commands.cpp", "if (!a.status && !(a.quiet && ok)) {", "if (!a.status && !a.quiet) {"),
    ("c-unread-plural-swapped", "tools/crc_commands.cpp", "\"listed file could not be read\", \"listed files could not be read\"", "\"listed files could not be read\", \"listed file could not be read\""),
    ("c-warn-numbers-from-zero", "tools/crc_commands.cpp", "for (std::size_t number = 1; reader.next", "for (std::size_t number = 0; reader.next"),
    ("c-check-last-list-wins", "tools/crc_commands.cpp", "if (checkList(list, a, block) != kOk) status = kFailed;", "status = checkList(list, a, block);"),
    ("c-quiet-without-check-accepted", "tools/crc_commands.cpp", "\"with --check: no line for a file that is OK\")->needs(check);", "\"with --check: no line for a file that is OK\");"),
    ("f-cp-dir-link-not-followed", "tools/file_commands.cpp", "if (::stat(destination.c_str(), &st) != 0", "if (::lstat(destination.c_str(), &st) != 0"),
    ("s-info-cid-key", "tools/system_commands.cpp", "{\"cid_file\", getCidFilePath()},", "{\"cid_path\", getCidFilePath()},"),
    ("s-info-label-width", "tools/system_commands.cpp", "label.resize(width + 2, ' ');", "label.resize(width + 1, ' ');"),
    ("s-readline-error-ignored", "tools/system_commands.cpp", "if (n < 0) return fail(\"readline\", \"-\", std::strerror(errno));", "if (n < 0) break;"),
    ("s-cid-names-dir", "tools/system_commands.cpp", "if (reason != 0) return fail(\"cid\", didPath,", "if (reason != 0) return fail(\"cid\", dir,"),
    ("x-chain-blank-not-tab", "tools/text_commands.cpp", "line(name + '\\t' + std::to_string(count));", "line(name + ' ' + std::to_string(count));"),
    ("x-urlencode-stdin-no-lf", "tools/text_commands.cpp", "  line(\"\");\n  return kOk;", "  return kOk;"),
    # A third round, written the same way.
    ("str-pad-side-swapped", "GeneralUtils.cpp", "str.insert(bInsertFromLeft ? 0 : str.size(), num - str.size(), paddingChar);", "str.insert(bInsertFromLeft ? str.size() : 0, num - str.size(), paddingChar);"),
    ("str-cut-first-skips-start", "GeneralUtils.cpp", "sStr.find(sToken);", "sStr.find(sToken, 1);"),
    ("str-eol-earliest-break", "GeneralUtils.cpp", "size_t pos = sStr.find('\\r');\n  if (pos == string::npos) pos = sStr.find('\\n');", "size_t pos = sStr.find_first_of(\"\\r\\n\");"),
    ("str-split-collapses-repeats", "GeneralUtils.cpp", "    output.push_back(s.substr(prev_pos, pos - prev_pos));", "    if (pos > prev_pos) output.push_back(s.substr(prev_pos, pos - prev_pos));"),
    ("chain-gt-blank-after-blank", "GeneralUtils.cpp", "    previous = c;", "    if (c != ' ') previous = c;"),
    ("chain-no-call-throws", "GeneralUtils.cpp", "if (start > ps) {", "if (start >= ps) {"),
    ("crc-poly-is-crc32", "GeneralUtils.cpp", "const uint32_t POLY = 0x82f63b78;", "const uint32_t POLY = 0xedb88320;"),
    ("crc-select-pclmul-without-cpuid-bit", "GeneralUtils.cpp", "f.pclmul = f.crc32 && (ecx & bit_PCLMUL) != 0;", "f.pclmul = f.crc32;"),
    ("crc-fold-tail-dropped", "GeneralUtils.cpp", "return crc32cChains(~static_cast<uint32_t>(registerOf<W>(x)), p, len);", "return ~static_cast<uint32_t>(registerOf<W>(x));"),
    ("crc-fold-register-in-high-half", "GeneralUtils.cpp", "low[0] = c;", "low[1] = c;"),
    ("crc-ymm-narrow-drops-high-lane", "GeneralUtils.cpp", "return _mm_xor_si128(low, _mm256_extracti128_si256(x, 1));", "return _mm_xor_si128(low, _mm256_extracti128_si256(x, 0));"),
    ("crc-zmm-join-wrong-distance", "GeneralUtils.cpp", "z[3] = fold512(z[2], k64, z[3]);", "z[3] = fold512(z[2], k128, z[3]);"),
    ("crc-zmm-ignores-incoming", "GeneralUtils.cpp", "addRegister<Zmm>(z[0], ~crc);", "addRegister<Zmm>(z[0], ~0u);"),
    ("crc-xmm-fold-one-product", "GeneralUtils.cpp", "_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)", "_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x01)"),
    ("host-nodename-first-record-forever", "GeneralUtils.cpp", "if (const char* known = find(fresh.nodename)) return known;", "if (const Record* r = head_.load(memory_order_acquire)) return r->u.nodename;"),
    ("host-details-hash-signed-bytes", "GeneralUtils.cpp", "sumHash(reinterpret_cast<const unsigned char*>(text), strlen(text))", "sumHash(text, strlen(text))"),
    ("host-fingerprint-eight-digits", "GeneralUtils.cpp", "const size_t maxDigits = 9;", "const size_t maxDigits = 8;"),
    ("path-isdir-root", "GeneralUtils.cpp", "sDir.size() > 1) sDir.pop_back();", "sDir.size() > 0) sDir.pop_back();"),
    ("file-dir-not-eisdir", "GeneralUtils.cpp", "if (S_ISDIR(st.st_mode)) return EISDIR;", "if (S_ISDIR(st.st_mode)) return kNotRegularFile;"),
    ("file-cmp-blames-first-file", "GeneralUtils.cpp", "failed = 1;\n    reason = openMeasured(file2", "reason = openMeasured(file2"),
    ("file-cp-trunc-before-same-check", "GeneralUtils.cpp", "O_WRONLY | O_CREAT | O_NONBLOCK", "O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK"),
    ("file-cp-short-read-ends-copy", "GeneralUtils.cpp", "const ssize_t n = readFull(in, block, kFileBlock);", "const ssize_t n = readSome(in, block, kFileBlock);"),
    ("file-write-eintr-not-retried", "GeneralUtils.cpp", "      if (errno == EINTR) continue;\n      return errno;", "      return errno;"),
    ("exec-signal-status-raw", "GeneralUtils.cpp", "128 + WTERMSIG(waited)", "WTERMSIG(waited)"),
    ("io-read-eintr-wrong-errno", "GeneralUtils.cpp", "while (got < 0 && errno == EINTR);", "while (got < 0 && errno == EAGAIN);"),
    ("console-clean-stdin-ignores-eof", "GeneralUtils.cpp", "} while (c != '\\n' && c != EOF);", "} while (c != '\\n');"),
    ("tool-crc-blank-name-one-blank", "tools/crc_commands.cpp", "(name[0] == ' ' || name[0] == '*')", "name[0] == '*'"),
    ("tool-crc-check-strict-always", "tools/crc_commands.cpp", "(a.strict && t.improper > 0)", "(t.improper > 0)"),
    ("tool-crc-tag-with-check-allowed", "tools/crc_commands.cpp", "\"write 'CRC32C (NAME) = CRC' lines\")->excludes(check);", "\"write 'CRC32C (NAME) = CRC' lines\");"),
    ("tool-crc-blocks-not-chained", "tools/crc_commands.cpp", "GeneralUtils::crc32c(crc, block.data()", "GeneralUtils::crc32c(0, block.data()"),
    ("tool-cp-dir-target-first-slash", "tools/file_commands.cpp", "const std::size_t slash = source.rfind('/');", "const std::size_t slash = source.find('/');"),
    ("tool-cmp-trouble-status", "tools/file_commands.cpp", "    return kTrouble;", "    return kFailed;"),
    ("tool-exec-no-blank-prefix", "tools/system_commands.cpp", "(' ' + command).c_str()", "command.c_str()"),
    ("tool-readline-last-line-dropped", "tools/system_commands.cpp", "if (n == 0 && text.empty()) return kFailed;", "if (n == 0) return kFailed;"),
    ("tool-cid-names-dir", "tools/system_commands.cpp", "return fail(\"cid\", didPath, GeneralUtils::fileErrorText(reason));", "return fail(\"cid\", dir, GeneralUtils::fileErrorText(reason));"),
    ("tool-usage-error-status-1", "tools/main.cpp", "    return kTrouble;", "    return kFailed;"),
]


def run(cmd, cwd, timeout=None):
    return subprocess.run(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=timeout)


def failing_tests(ctest_output):
    names = []
    for line in ctest_output.splitlines():
        # "  3 - Format.Sprintf (Failed)" in the summary, or "(Timeout)", "(SEGFAULT)", ...
        line = line.strip()
        if " - " in line and line.endswith(")") and line.split(" - ")[0].strip().isdigit():
            names.append(line.split(" - ", 1)[1])
    return names


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--only", default="", help="run the mutants whose name contains this")
    parser.add_argument("--list", action="store_true", help="list the mutants and stop")
    parser.add_argument("--work", default="", help="work directory (default: build/mutants)")
    parser.add_argument("--timeout", type=int, default=90, help="seconds a test may take")
    parser.add_argument("--first", action="store_true",
                        help="stop each run at the first failing test (faster; names only that one)")
    args = parser.parse_args()

    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    mutants = [m for m in MUTANTS if args.only in m[0]]
    if args.list:
        for m in mutants:
            print(f"{m[0]:34} {m[1]}")
        return 0
    work = os.path.abspath(args.work or os.path.join(root, "build", "mutants"))
    src = os.path.join(work, "src")
    build = os.path.join(work, "build")
    shutil.rmtree(src, ignore_errors=True)
    shutil.copytree(root, src, ignore=shutil.ignore_patterns(".git", "build"))
    configure = ["cmake", "-S", src, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
                 "-DGENERALUTILS_BUILD_EXAMPLES=OFF", "-DGENERALUTILS_INSTALL=OFF"]
    ctest = ["ctest", "--test-dir", build, "-j2", "--timeout", str(args.timeout), "-LE", "package"]
    if args.first:
        ctest.append("--stop-on-failure")
    for step in (configure, ["cmake", "--build", build, "-j2"], ctest):
        r = run(step, src)
        if r.returncode != 0:
            sys.stdout.write(r.stdout)
            print(f"mutants: the unmutated tree fails at: {' '.join(step)}", file=sys.stderr)
            return 2

    results = {}
    for name, path, old, new, *nth in mutants:
        file = os.path.join(src, path)
        with open(file, encoding="utf-8") as f:
            original = f.read()
        at = -1
        for _ in range(nth[0] if nth else 1):
            at = original.find(old, at + 1)
            if at < 0:
                break
        if at < 0:
            results[name] = {"outcome": "not applied", "tests": []}
            print(f"{name:34} NOT APPLIED: its text is not in {path}", flush=True)
            continue
        started = time.time()
        try:
            with open(file, "w", encoding="utf-8") as f:
                f.write(original[:at] + new + original[at + len(old):])
            b = run(["cmake", "--build", build, "-j2"], src)
            if b.returncode != 0:
                outcome, tests = "does not build", []
            else:
                t = run(ctest, src)
                tests = failing_tests(t.stdout)
                outcome = "killed" if t.returncode != 0 else "SURVIVED"
        finally:
            with open(file, "w", encoding="utf-8") as f:
                f.write(original)
        results[name] = {"outcome": outcome, "tests": tests}
        print(f"{name:34} {outcome:15} {time.time() - started:5.0f} s  {' '.join(tests)}",
              flush=True)
    run(["cmake", "--build", build, "-j2"], src)  # leave the build matching the tree

    with open(os.path.join(work, "results.json"), "w", encoding="utf-8") as f:
        json.dump(results, f, indent=1)
    counted = [r for r in results.values() if r["outcome"] in ("killed", "SURVIVED")]
    killed = sum(r["outcome"] == "killed" for r in counted)
    print(f"\n{killed} of {len(counted)} mutants killed", end="")
    other = len(results) - len(counted)
    print(f"; {other} did not build or apply" if other else "")
    return 0 if killed == len(counted) and other == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
