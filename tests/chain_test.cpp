// Call-chain analysis: GetFirstFunctionNameAndCount on hand-written texts and on the texts
// that the preprocessor's #x makes of real, compiled expressions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "GeneralUtils.h"

namespace {

void expectChain(const char* text, const char* wantName, UINT wantCount) {
  SCOPED_TRACE(std::string("text: ") + text);
  std::string name = "stale";
  EXPECT_EQ(wantCount, GeneralUtils::GetFirstFunctionNameAndCount(text, name));
  EXPECT_EQ(wantName, name);
}

TEST(Chain, NameAndCount) {
  // clang-format off
  const struct { const char *text, *name; UINT count; } kCases[] = {
      // text               name               count  text                  name          count
      {"a.foo(1).bar(2)",    "foo(",            1},  {"foo(1).foo(2)",      "foo(",        2},
      {"a.f(1).f(2).f(3)",   "f(",              3},  {"p->a(1)->a(2)->b()", "a(",          2},
      {"x->y.z(1)",          "z(",              1},  {"a . b ( 1 , 2 )",    "b(",          1},
      {"foo(1,foo(2))",      "foo(",            2},  {"foo(foo(1))",        "foo(",        1},
      {"foo(1).barfoo(2)",   "foo(",            2},  {"g(a.b(1))",          "g(",          1},
      {"(*p).foo(1)",        "foo(",            1},  {"(a)(1)",             "a)(",         1},
      {"ns::C::f<int>(1)",   "ns::C::f<int>(",  1},  {"foo(",               "foo(",        1},
      {"f<A<B>>(1)",         "f<A<B> >(",       1},  {"f<A<B> >(1)",        "f<A<B>>(",    1},
      {"foo(.5)",            "foo(",            1},
      {"f<A,  B>(1).f<A, B>(2).f<A,B>(3)",           "f<A, B>(",             2},
      {"templates.__funcTemplate<decltype(r)>(1)",   "__funcTemplate<",      1},
      {"x.__func.__funcTemplate<int>(1).g(2)",       "__funcTemplate<",      1},
      {"obj.__funcTemplate<int>(1)",                 "__funcTemplate<int>(", 1},
      // No call: the empty name is found at every position behind the first.
      {"",                   "",                1},  {"abc",                "",            4},
      {"a b",                "",                3},  {"a, b",               "",            5},
  };
  // clang-format on
  for (const auto& c : kCases) expectChain(c.text, c.name, c.count);
}

TEST(Chain, NoNameBehindLeadingParenthesesThrows) {
  for (const char* text : {"(a)", "((a)", "(", "()", " ( a )"}) {
    std::string name = "stale";
    EXPECT_THROW(GeneralUtils::GetFirstFunctionNameAndCount(text, name), std::length_error) << text;
    EXPECT_EQ("stale", name) << text;
  }
}

struct Calc {
  int total = 0;
  Calc& add(int v) { return total += v, *this; }
  Calc* self() { return this; }
  Calc& note(const char* text) { return add(static_cast<int>(std::strlen(text))); }
  template <typename T>
  Calc& put(const T& v) {
    return add(static_cast<int>(v.size()));
  }
};

// Runs the expression and gives its text as the engine's recording macros see it.
#define RECORD(x) (static_cast<void>(x), #x)

TEST(Chain, TextsOfRealExpressions) {
  Calc calc;
  Calc* ptr = &calc;
  // The spacing inside RECORD(...) is what is tested.
  // clang-format off
  const struct { const char *text, *rendered, *name; UINT count; } kCases[] = {
      // text, as RECORD renders it; the same spelt out; name; count
      {RECORD(calc.add(1).add(2).add(3)),   "calc.add(1).add(2).add(3)",   "add(",      3},
      {RECORD(ptr->self()->self()->add(4)), "ptr->self()->self()->add(4)", "self(",     2},
      {RECORD(calc.add(calc.add(1).total)), "calc.add(calc.add(1).total)", "add(",      2},
      {RECORD(std::max(std::max(1, 2), 3)), "std::max(std::max(1, 2), 3)", "std::max(", 1},
      {RECORD((*ptr).add(1).self()),        "(*ptr).add(1).self()",        "add(",      1},
      {RECORD(calc . add ( 1 )
                   . add ( 2 )),            "calc . add ( 1 ) . add ( 2 )", "add(",     2},
      {RECORD(calc.add(1).note("then add(2), add(3)")),
       "calc.add(1).note(\"then add(2), add(3)\")", "add(", 3},
      {RECORD(calc.put<std::vector<std::vector<int>>>({{1, 2}, {3}})),
       "calc.put<std::vector<std::vector<int>>>({{1, 2}, {3}})",
       "put<std::vector<std::vector<int> > >(", 1},
      {RECORD(std::vector<std::vector<int> >(2).size()),
       "std::vector<std::vector<int> >(2).size()", "std::vector<std::vector<int>>(", 1},
  };
  // clang-format on
  for (const auto& c : kCases) {
    EXPECT_STREQ(c.rendered, c.text);
    expectChain(c.text, c.name, c.count);
  }
}

}  // namespace
