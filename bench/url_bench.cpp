// EncodeURL on 1 KiB of mixed text beside a writer that looks every byte up in a 256-entry
// table and appends straight to a string. Reported as a ratio only; there is no target.
#include <benchmark/benchmark.h>

#include <cctype>
#include <string>

#include "GeneralUtils.h"

namespace {

// Words, blanks, URL punctuation and UTF-8 bytes, about one byte in four escaped.
std::string mixedText() {
  const std::string piece =
      "Gr\xC3\xBC\xC3\x9F"
      "e aus K\xC3\xB6ln: a b/c?d=e&f=100% -_.~ id=42\n";
  std::string text;
  while (text.size() < 1024) text += piece;
  text.resize(1024);
  return text;
}

struct EscapeTable {
  char code[256][3];  // "%XX", or the byte itself in code[c][0] with plain[c] set
  bool plain[256];
  EscapeTable() {
    const char* digits = "0123456789ABCDEF";
    for (int c = 0; c < 256; ++c) {
      plain[c] = std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~';
      code[c][0] = plain[c] ? static_cast<char>(c) : '%';
      code[c][1] = digits[c >> 4];
      code[c][2] = digits[c & 15];
    }
  }
};

std::string tableEncode(const std::string& value) {
  static const EscapeTable table;
  std::string out;
  out.reserve(value.size() * 3);
  for (const char ch : value) {
    const unsigned char c = static_cast<unsigned char>(ch);
    out.append(table.code[c], table.plain[c] ? 1 : 3);
  }
  return out;
}

void BM_UrlLibrary(benchmark::State& state) {
  const std::string text = mixedText();
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(GeneralUtils::EncodeURL(text));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_UrlTableBaseline(benchmark::State& state) {
  const std::string text = mixedText();
  if (tableEncode(text) != GeneralUtils::EncodeURL(text)) state.SkipWithError("outputs differ");
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(tableEncode(text));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

}  // namespace

BENCHMARK(BM_UrlLibrary)->Name("EncodeURL_1KiB/library");
BENCHMARK(BM_UrlTableBaseline)->Name("EncodeURL_1KiB/table_baseline");
