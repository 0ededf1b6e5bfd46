// Symbol export for libZemCal.
//
// The library is built with hidden visibility: only declarations marked
// ZEMCAL_API are part of its binary interface.
#pragma once

#if defined(_WIN32) && !defined(ZEMCAL_STATIC)
#  if defined(ZEMCAL_BUILDING)
#    define ZEMCAL_API __declspec(dllexport)
#  else
#    define ZEMCAL_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__) || defined(__clang__)
#  define ZEMCAL_API __attribute__((visibility("default")))
#else
#  define ZEMCAL_API
#endif
