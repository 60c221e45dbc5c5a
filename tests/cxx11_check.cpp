// Built at C++11 on purpose: the header has to stay usable from code that is not C++17.
// format_test calls cxx11Check() and checks what it returns.
#include <string>

#include "GeneralUtils.h"

#if __cplusplus != 201103L
#error "cxx11_check.cpp has to be compiled as C++11"
#endif

std::string cxx11Check();

std::string cxx11Check() {
  using namespace GeneralUtils;
  std::string padded = "1";
  padString(padded, 3, true, '0');
  unsigned char abc[] = {'a', 'b', 'c'};
  const std::string out = sprintfString(
      "%s-%03d|%s|%04X|%s|%u", "v", 7, padded.c_str(), static_cast<unsigned>(getStrHash(abc, 3)),
      EncodeURL("a b").c_str(), static_cast<unsigned>(splitString("x/y/z", '/').size()));

  // Each macro on a real allocation; a second VDELETE on the nulled pointer does nothing.
  int *one = new int(5), *many = new int[3]();
  std::string* text = new std::string("t");
  char* chars = new char[4]();
  VDELETE_S(one);
  VDELETE_S(one);
  VDELETE_A(many);
  VDELETE_A(many);
  UDELETE_S(text);
  UDELETE_A(chars);
  return out + (one || many || text || chars ? "|kept" : "|nulled");
}
