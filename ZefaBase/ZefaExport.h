#pragma once
// ZEFA_EXPORT marks what the library shows its users. A shared build hides every other symbol
// (the compiler's default visibility is "hidden" there), so only marked classes and functions
// link from outside. A static build defines ZEFA_STATIC, which matters only for Windows DLLs.
#if defined(_WIN32)
#if defined(ZEFA_STATIC)
#define ZEFA_EXPORT
#elif defined(ZEFA_BUILDING_LIBRARY)
#define ZEFA_EXPORT __declspec(dllexport)
#else
#define ZEFA_EXPORT __declspec(dllimport)
#endif
#else
#define ZEFA_EXPORT __attribute__((visibility("default")))
#endif
