// Call-chain analysis: GetFirstFunctionNameAndCount on generated chains held against what the
// generator knows of them, and on the texts that need a rule of their own.
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

#include "GeneralUtils.h"

using std::string;

// Runs the expression and gives its text as the engine's recording macros see it.
#define RECORD(x) (static_cast<void>(x), #x)

// A random chain, as written and as the library reads it (blanks dropped but one behind a comma
// that had any, a blank between touching '>'), with the first call's name as read.
struct Chain {
  string written, read, firstName;
  size_t firstOpen = string::npos;  // where, in `read`, the first call's '(' stands
};

class ChainMaker {
 public:
  explicit ChainMaker(unsigned seed) : rng_(seed) {}

  Chain make() {
    Chain c;
    const char* receivers[] = {"", "a.", "p->", "(*p).", "x.y->", "x->y."};
    add(c, receivers[pick(6)]);
    call(c, 0);
    while (pick(3) != 0) add(c, pick(2) ? "." : "->"), call(c, 0);
    return c;
  }

 private:
  unsigned pick(unsigned n) { return static_cast<unsigned>(rng_() % n); }

  // A token as written and as read, sometimes with a blank in front, which the reading drops
  // unless it follows a comma.
  void add(Chain& c, const string& written, const string& read) {
    const bool blank = pick(3) == 0 && !c.written.empty() && c.written.back() != ',';
    c.written += (blank ? " " : "") + written;
    c.read += read;
  }
  void add(Chain& c, const string& token) { add(c, token, token); }

  void call(Chain& c, int depth) {
    // Names as written and as read: the same name inside a longer one, scopes, templates.
    const std::pair<const char*, const char*> names[] = {{"f", "f"},
                                                         {"foo", "foo"},
                                                         {"barfoo", "barfoo"},
                                                         {"ns::f", "ns::f"},
                                                         {"f<int>", "f<int>"},
                                                         {"f<A<B>>", "f<A<B> >"},
                                                         {"f<A<B> >", "f<A<B>>"},
                                                         {"get<A,  B>", "get<A, B>"},
                                                         {"get<A,B>", "get<A,B>"}};
    const auto& [written, read] = names[pick(9)];
    add(c, written, read);
    if (c.firstOpen == string::npos) c.firstName = string(read) + "(", c.firstOpen = c.read.size();
    add(c, "(");
    for (unsigned i = 0, n = pick(3); i < n; ++i) {
      if (i > 0) pick(2) ? add(c, ",   ", ", ") : add(c, ",");
      depth < 2 && pick(2) ? call(c, depth + 1) : add(c, pick(2) ? "1" : ".5");
    }
    add(c, ")");
  }

  std::mt19937 rng_;
};

TEST(Chain, GeneratedChains) {
  ChainMaker maker(2025);
  for (int n = 0; n < 5000; ++n) {
    const Chain c = maker.make();
    // The count: 1 and every start of the name from two bytes behind the first '(' on.
    UINT count = 1;
    for (size_t i = c.firstOpen + 2; i < c.read.size(); ++i) {
      count += c.read.compare(i, c.firstName.size(), c.firstName) == 0;
    }
    string name = "stale";
    ASSERT_EQ(count, GeneralUtils::GetFirstFunctionNameAndCount(c.written, name)) << c.written;
    ASSERT_EQ(c.firstName, name) << c.written;
  }
}

TEST(Chain, TextsWithRulesOfTheirOwn) {
  // clang-format off
  const struct { const char *text, *name; UINT count; } kCases[] = {
      // text, name, count; count 0: std::length_error, and the name keeps its old value
      {"(a)(1)",  "a)(", 1},
      // No call: the empty name matches at every position behind the first.
      {"",        "",    1},  {"a b",     "",     3},
      // Only parentheses in front, so no name; blanks go before the parentheses are counted.
      {"(a)",     "stale", 0},  {" ( a )", "stale", 0},  {"((", "stale", 0},
      // Only the two wrapper texts take the shortcut; a plain call of the template does not.
      {"templates.__funcTemplate<decltype(r)>(1)",   "__funcTemplate<",      1},
      {"x.__func.__funcTemplate<int>(1).g(2)",       "__funcTemplate<",      1},
      {"templates.__funcTemplate<int>(1)",           "__funcTemplate<int>(", 1},
      // A real expression, spaced as the preprocessor renders it.
      {RECORD(std::vector<std::vector<int>>(2, std::vector<int>(3)).size()),
       "std::vector<std::vector<int> >(", 1},
  };
  // clang-format on
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    string name = "stale";
    if (c.count == 0) {
      EXPECT_THROW(GeneralUtils::GetFirstFunctionNameAndCount(c.text, name), std::length_error);
    } else {
      EXPECT_EQ(c.count, GeneralUtils::GetFirstFunctionNameAndCount(c.text, name));
    }
    EXPECT_EQ(c.name, name);
  }
}
