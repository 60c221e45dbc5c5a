// Windows-style type names for the Linux build of code that shares sources with Windows.
#ifndef GENERALUTILS_OS_LINUX_WINDEFS_H
#define GENERALUTILS_OS_LINUX_WINDEFS_H

#include <stdint.h>

// An unsigned 32-bit integer.
typedef uint32_t UINT;
// The platform's wide character: wchar_t, 32 bits on Linux.
typedef wchar_t WCHAR;

#endif  // GENERALUTILS_OS_LINUX_WINDEFS_H
