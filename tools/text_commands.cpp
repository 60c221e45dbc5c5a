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

// Standard input percent-encoded block by block, written as it goes: memory stays at one block
// whatever the input's length, and since the encoding goes byte by byte, the block boundaries
// change nothing. The descriptor is read directly: no stream, so no locale and no text mode.
int encodeStdin() {
  std::vector<char> block(kBlockBytes);
  for (;;) {
    const ssize_t n = readSome(STDIN_FILENO, block.data(), block.size());
    if (n == 0) break;
    if (n < 0) return fail("urlencode", "-", std::strerror(errno));
    out(GeneralUtils::EncodeURL(std::string(block.data(), static_cast<std::size_t>(n))));
  }
  line("");
  return kOk;
}

}  // namespace

void addTextCommands(Tool& t) {
  Args& a = t.args;

  CLI::App* c = t.app.add_subcommand(
      "chain", "First function TEXT's call chain calls, a TAB, its count; 1 if no call or no name");
  c->add_option("TEXT", a.text, "call expression as the preprocessor's #x renders it")->required();
  t.action(c, [&a] {
    std::string name;
    try {
      const UINT count = GeneralUtils::GetFirstFunctionNameAndCount(a.text, name);
      if (name.empty()) return fail("chain", a.text, "no call: the text has no '('");
      line(name + '\t' + std::to_string(count));
      return kOk;
    } catch (const std::length_error& e) {
      return fail("chain", a.text, e.what());
    }
  });

  c = t.app.add_subcommand("hash8", "8-character place-weighted hash of TEXT");
  c->add_option("TEXT", a.text, "text to hash")->required();
  t.action(c, [&a] {
    line(GeneralUtils::Create8CharacterHash(a.text));
    return kOk;
  });

  c = t.app.add_subcommand("strhash",
                           "16-bit additive hash of TEXT (at most 65535 bytes), 4 hex digits");
  c->add_option("TEXT", a.text, "text to hash, at most 65535 bytes")
      ->required()
      ->check(lengthIn(0, 65535, "longer than 65535 bytes, the most a 16-bit length covers"));
  t.action(c, [&a] {
    auto* bytes = reinterpret_cast<unsigned char*>(a.text.data());
    line(hex4(GeneralUtils::getStrHash<unsigned char>(bytes,
                                                      static_cast<unsigned short>(a.text.size()))));
    return kOk;
  });

  c = t.app.add_subcommand(
      "urlencode", "TEXT, or stdin read in 64 KiB blocks, percent-encoded byte by byte, and a LF");
  CLI::Option* text = c->add_option("TEXT", a.text, "text to encode; absent: standard input");
  t.action(c, [&a, text] {
    workingOn(text->count() == 0 ? "-" : a.text.c_str());
    if (text->count() == 0) return encodeStdin();
    line(GeneralUtils::EncodeURL(a.text));
    return kOk;
  });

  c = t.app.add_subcommand(
      "split", "Fields of TEXT between one-byte SEPs, one per line (NUL-ended with -0)");
  c->add_flag("-0,--null", a.nul, "end each field with a NUL byte instead of a line feed");
  c->add_option("SEP", a.token, "separator, exactly one byte")
      ->required()
      ->check(lengthIn(1, 1, "must be exactly one byte"));
  c->add_option("TEXT", a.text, "text to split")->required();
  t.action(c, [&a] {
    const std::string end(1, a.nul ? '\0' : '\n');
    for (const std::string& field : GeneralUtils::splitString(a.text, a.token[0])) {
      out(field + end);
    }
    return kOk;
  });

  c = t.app.add_subcommand(
      "cut", "Text before (first, last) or behind (after-first, after-last) that TOKEN");
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
  c->add_option("TEXT", a.text, "text to cut")->required();
  t.action(c, [&a] {
    line(GeneralUtils::GetUntilFirstEndOfLine(a.text));
    return kOk;
  });
}

}  // namespace gutool
