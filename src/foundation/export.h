// What the shared library shows to the outside: everything else stays inside.
#pragma once

#if defined(__GNUC__)
#define CLIPCHAIN_API __attribute__((visibility("default")))
#else
#define CLIPCHAIN_API
#endif
