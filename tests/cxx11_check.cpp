// Built at C++11 on purpose: the header has to stay usable from code that is not C++17.
// format_test calls cxx11Check() and checks what it returns.

#include "GeneralUtils.h"

std::string cxx11Check() {
  // Each macro on a real allocation; all four leave their pointer null.
  int *one = new int(5), *many = new int[3](), *sole = new int(7), *row = new int[2]();
  VDELETE_S(one);
  VDELETE_A(many);
  UDELETE_S(sole);
  UDELETE_A(row);
  return one || many || sole || row ? "kept" : "nulled";
}
