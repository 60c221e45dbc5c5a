// Uses GeneralUtils through its public header only, the way any project linking it would.
#include <cstdio>
#include <string>

#include "GeneralUtils.h"

int main() {
  std::printf("GeneralUtils %s through %s\n", CONSUMER_VERSION, CONSUMER_VIA);

  std::string name;
  UINT count = GeneralUtils::GetFirstFunctionNameAndCount("a.foo(1).foo(2)", name);
  std::printf("first call: %s x%u\n", name.c_str(), count);
  std::printf("hash8: %s\n", GeneralUtils::Create8CharacterHash("abc").c_str());

  unsigned char digits[] = "123456789";
  std::printf("crc32c: %08x\n", static_cast<unsigned>(GeneralUtils::crc32c(0, digits, 9)));
  // A template: this links only if the library exports its explicit instance.
  unsigned char abc[] = "abc";
  std::printf("strhash: %u\n", static_cast<unsigned>(GeneralUtils::getStrHash(abc, 3)));

  std::printf("url: %s\n", GeneralUtils::EncodeURL("a b/c").c_str());
  std::printf("fingerprint: %s\n", GeneralUtils::GetSystemFingerprintCStr());
  return 0;
}
