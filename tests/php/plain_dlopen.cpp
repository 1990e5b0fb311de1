// To be preloaded before the address sanitizer. PHP opens its extensions with
// RTLD_DEEPBIND, with which the sanitizer's runtime refuses to work.

#include <dlfcn.h>

extern "C" void* dlopen(const char* file, int mode) noexcept {
  using Open = void* (*)(const char*, int);
  static const auto next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
  return next(file, mode & ~RTLD_DEEPBIND);
}
