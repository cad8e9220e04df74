// A shared library, loaded by its path.
#pragma once
#include <gtest/gtest.h>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <dlfcn.h>
#endif

/// Loaded for as long as the object lives. Fails the running test when it can't be loaded.
class SharedLibrary {
 public:
  explicit SharedLibrary(const char* path);
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  ~SharedLibrary();

  /// An exported function, or null.
  void* function(const char* name) const;

 private:
#ifdef _WIN32
  HMODULE library_;
#else
  void* library_;
#endif
};

#ifdef _WIN32

inline SharedLibrary::SharedLibrary(const char* path) : library_(LoadLibraryA(path)) {
  if (!library_) ADD_FAILURE() << path << ": error " << GetLastError();
}

inline SharedLibrary::~SharedLibrary() {
  if (library_) FreeLibrary(library_);
}

inline void* SharedLibrary::function(const char* name) const {
  return library_ ? reinterpret_cast<void*>(GetProcAddress(library_, name)) : nullptr;
}

#else

inline SharedLibrary::SharedLibrary(const char* path)
    : library_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
  if (!library_) ADD_FAILURE() << dlerror();
}

inline SharedLibrary::~SharedLibrary() {
  if (library_) dlclose(library_);
}

inline void* SharedLibrary::function(const char* name) const {
  return library_ ? dlsym(library_, name) : nullptr;
}

#endif
