// Export macro of the vxUtils shared library.
//
// The library is built with hidden visibility; only what carries VX_API is part of its binary
// interface. On Windows the same macro switches between dllexport and dllimport.
#pragma once

#if defined(_WIN32)
#  if defined(VXUTILS_BUILDING)
#    define VX_API __declspec(dllexport)
#  else
#    define VX_API __declspec(dllimport)
#  endif
#else
#  define VX_API __attribute__((visibility("default")))
#endif
