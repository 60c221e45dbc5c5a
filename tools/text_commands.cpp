// Subcommands on text: call-chain analysis, hashes, URL encoding, cutting and splitting.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {
namespace {

using Cut = std::string (*)(std::string, std::string);
const std::map<std::string, Cut> kCuts = {
    {"first", GeneralUtils::GetUntilFirstSpecifiedString},
    {"last", GeneralUtils::GetUntilLastSpecifiedString},
    {"after-first", GeneralUtils::GetTailAfterFirstSpecifiedString},
    {"after-last", GeneralUtils::GetTailAfterLastSpecifiedString},
};

// A length check in bytes, for arguments that feed a fixed-width parameter.
CLI::Validator lengthIn(std::size_t min, std::size_t max, const std::string& rule) {
  return CLI::Validator(
      [=](std::string& s) { return s.size() >= min && s.size() <= max ? std::string() : rule; },
      "");
}

// The required TEXT argument of subcommand c: where the parsed text lands.
std::string& textArgument(Tool& t, CLI::App* c, const std::string& help) {
  std::string& text = t.keep<std::string>();
  c->add_option("TEXT", text, help)->required();
  return text;
}

void addChain(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "chain", "First function TEXT's call chain calls, a TAB, its count; 1 if no call or no name");
  const std::string& text =
      textArgument(t, c, "call expression as the preprocessor's #x renders it");
  t.action(c, [&text] {
    std::string name;
    try {
      const UINT count = GeneralUtils::GetFirstFunctionNameAndCount(text, name);
      if (name.empty()) return fail("chain", text, "no call: the text has no '('");
      line(name + '\t' + std::to_string(count));
      return kOk;
    } catch (const std::length_error& e) {
      return fail("chain", text, e.what());
    }
  });
}

void addHashes(Tool& t) {
  CLI::App* c = t.app.add_subcommand("hash8", "8-character place-weighted hash of TEXT");
  const std::string& text8 = textArgument(t, c, "text to hash");
  t.action(c, [&text8] {
    line(GeneralUtils::Create8CharacterHash(text8));
    return kOk;
  });

  const std::string most = std::to_string(kStrhashMost);
  c = t.app.add_subcommand(
      "strhash", "16-bit additive hash of TEXT (at most " + most + " bytes), 4 hex digits");
  std::string& text = textArgument(t, c, "text to hash, at most " + most + " bytes");
  c->get_option("TEXT")->check(
      lengthIn(0, kStrhashMost, "longer than " + most + " bytes, the most a 16-bit length covers"));
  t.action(c, [&text] {
    auto* bytes = reinterpret_cast<unsigned char*>(&text[0]);
    const auto length = static_cast<unsigned short>(text.size());
    line(hex4(GeneralUtils::getStrHash<unsigned char>(bytes, length)));
    return kOk;
  });
}

// Standard input percent-encoded block by block, written as it goes: memory stays at one block
// whatever the input's length, and since the encoding goes byte by byte, the block boundaries
// change nothing. The descriptor is read directly: no stream, so no locale and no text mode.
int encodeStdin() {
  std::vector<char> block(kReadBlock);
  for (;;) {
    const ssize_t n = readSome(STDIN_FILENO, block.data(), block.size());
    if (n == 0) break;
    if (n < 0) return fail("urlencode", "-", std::strerror(errno));
    out(GeneralUtils::EncodeURL(std::string(block.data(), static_cast<std::size_t>(n))));
  }
  line("");
  return kOk;
}

void addUrlencode(Tool& t) {
  CLI::App* c = t.app.add_subcommand("urlencode", "TEXT, or stdin read in " + readBlockText() +
                                                      " blocks, percent-encoded byte by byte, "
                                                      "and a LF");
  std::string& text = t.keep<std::string>();
  CLI::Option* given = c->add_option("TEXT", text, "text to encode; absent: standard input");
  t.action(c, [&text, given] {
    if (given->count() == 0) {
      workingOn("-");
      return encodeStdin();
    }
    line(GeneralUtils::EncodeURL(text));
    return kOk;
  });
}

struct SplitArgs {
  bool nul = false;
  std::string separator, text;
};

void addSplit(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "split", "Fields of TEXT between one-byte SEPs, one per line (NUL-ended with -0)");
  SplitArgs& a = t.keep<SplitArgs>();
  c->add_flag("-0,--null", a.nul, "end each field with a NUL byte instead of a line feed");
  c->add_option("SEP", a.separator, "separator, exactly one byte")
      ->required()
      ->check(lengthIn(1, 1, "must be exactly one byte"));
  c->add_option("TEXT", a.text, "text to split")->required();
  t.action(c, [&a] {
    const std::string end(1, a.nul ? '\0' : '\n');
    for (const std::string& field : GeneralUtils::splitString(a.text, a.separator[0])) {
      out(field + end);
    }
    return kOk;
  });
}

struct CutArgs {
  std::string mode, token, text;
};

void addCuts(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "cut", "Text before (first, last) or behind (after-first, after-last) that TOKEN");
  CutArgs& a = t.keep<CutArgs>();
  c->add_option("MODE", a.mode, "first, last: text before; after-first, after-last: behind")
      ->required()
      ->check(CLI::IsMember(kCuts));
  c->add_option("TOKEN", a.token, "token to cut at")->required();
  c->add_option("TEXT", a.text, "text to cut")->required();
  t.action(c, [&a] {
    line(kCuts.at(a.mode)(a.text, a.token));
    return kOk;
  });

  c = t.app.add_subcommand("firstline", "TEXT up to its first CR, or else its first LF");
  const std::string& text = textArgument(t, c, "text to cut");
  t.action(c, [&text] {
    line(GeneralUtils::GetUntilFirstEndOfLine(text));
    return kOk;
  });
}

}  // namespace

void addTextCommands(Tool& t) {
  addChain(t);
  addHashes(t);
  addUrlencode(t);
  addSplit(t);
  addCuts(t);
}

}  // namespace gutool
