// Call-chain analysis: GetFirstFunctionNameAndCount on hand-written texts and on the texts
// that the preprocessor's #x makes of real, compiled expressions.
#include <gtest/gtest.h>

#include <stdexcept>

#include "GeneralUtils.h"

// Runs the expression and gives its text as the engine's recording macros see it.
#define RECORD(x) (static_cast<void>(x), #x)

TEST(Chain, NameAndCount) {
  // clang-format off
  const struct { const char *text, *name; UINT count; } kCases[] = {
      // text, name, count; count 0: std::length_error, and the name keeps its old value
      {"a.foo(1).bar(2)",   "foo(",           1},  {"a.f(1).f(2).f(3)",   "f(",        3},
      {"p->a(1)->a(2)->b()", "a(",            2},  {"x->y.z(1)",          "z(",        1},
      {"a.b->c(1)",         "c(",             1},  {"a . b ( 1 , 2 )",    "b(",        1},
      {"foo(1,foo(2))",     "foo(",           2},  {"foo(foo(1))",        "foo(",      1},
      {"foo(1).barfoo(2)",  "foo(",           2},  {"g(a.b(1))",          "g(",        1},
      {"(*p).foo(1)",       "foo(",           1},  {"(a)(1)",             "a)(",       1},
      {"ns::C::f<int>(1)",  "ns::C::f<int>(", 1},  {"foo(",               "foo(",      1},
      {"f<A<B>>(1)",        "f<A<B> >(",      1},  {"f<A<B> >(1)",        "f<A<B>>(",  1},
      {"foo(.5)",           "foo(",           1},
      // No call: the empty name matches at every position behind the first.
      {"",                  "",               1},  {"abc",                "",          4},
      // Only parentheses in front, so no name; blanks go before the parentheses are counted.
      {"(a)",               "stale",          0},  {" ( a )",             "stale",     0},
      {"(",                 "stale",          0},  {"((",                 "stale",     0},
      // One blank stays behind a comma that had any. Only the two wrapper texts take the
      // shortcut; a plain call of the template does not.
      {"f<A,  B>(1).f<A, B>(2).f<A,B>(3)",           "f<A, B>(",             2},
      {"templates.__funcTemplate<decltype(r)>(1)",   "__funcTemplate<",      1},
      {"x.__func.__funcTemplate<int>(1).g(2)",       "__funcTemplate<",      1},
      {"templates.__funcTemplate<int>(1)",           "__funcTemplate<int>(", 1},
      // A real expression, spaced as the preprocessor renders it: a blank behind each comma
      // that has one in the source, '>>' as written.
      {RECORD(std::vector<std::vector<int>>(2, std::vector<int>(3)).size()),
       "std::vector<std::vector<int> >(", 1},
  };
  // clang-format on
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    std::string name = "stale";
    if (c.count == 0) {
      EXPECT_THROW(GeneralUtils::GetFirstFunctionNameAndCount(c.text, name), std::length_error);
    } else {
      EXPECT_EQ(c.count, GeneralUtils::GetFirstFunctionNameAndCount(c.text, name));
    }
    EXPECT_EQ(c.name, name);
  }
}
