// How a call-recording engine names the calls that test code makes. RECORD(expr) runs expr
// and keeps the text that the preprocessor made of it; the chain analysis reduces that text
// to the function the chain calls first and how often that name occurs in the chain.
#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "GeneralUtils.h"

namespace {

// Runs the call, prints what the recorder keeps of it and hands back the call's result, so
// a recorded expression can stand wherever the plain one did.
template <typename Call>
auto record(const char* text, Call call) -> decltype(call()) {
  auto result = call();
  std::string name;
  UINT count = GeneralUtils::GetFirstFunctionNameAndCount(text, name);
  std::printf("%-52s %-34s %u\n", text, name.c_str(), count);
  return result;
}

// Variadic, so that a comma between template arguments doesn't split the expression.
#define RECORD(...) record(#__VA_ARGS__, [&] { return __VA_ARGS__; })

struct Request {
  std::string url;
  int retries = 0;
  Request& host(const std::string& name) {
    url = "http://" + name;
    return *this;
  }
  Request& path(const std::string& part) {
    url += part;
    return *this;
  }
  Request& retry(int times) {
    retries += times;
    return *this;
  }
};

struct Node {
  int value;
  Node* following;
  Node* next() const { return following; }
  int get() const { return value; }
};

struct Settings {
  template <typename T>
  T get(const char*) const {
    return T();
  }
};

struct Calc {
  int add(int a, int b) const { return a + b; }
};

}  // namespace

int main() {
  Request req;
  Node tail{3, nullptr}, middle{2, &tail}, head{1, &middle};
  Node* list = &head;
  Settings settings;
  Calc calc;

  std::printf("%-52s %-34s %s\n", "recorded text", "first call", "count");
  RECORD(req.host("localhost").path("/v1").retry(1));
  RECORD(req.retry(1).retry(2).path("/items"));
  int last = RECORD(list->next()->next()->get());
  RECORD(settings.get<std::vector<int>>("ports"));
  RECORD(settings.get<std::map<std::string, int>>("limits"));
  int sum = RECORD(calc.add(calc.add(1, 2), 3));
  int most = RECORD(std::max(calc.add(1, 2), sum));

  // Recording changes nothing about the calls themselves.
  std::printf("\n%s with %d retries; last node %d; sum %d; max %d\n", req.url.c_str(), req.retries,
              last, sum, most);
  return 0;
}
