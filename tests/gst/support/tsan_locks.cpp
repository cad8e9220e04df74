// GLib's locks, made visible to the thread sanitizer. GLib builds them on the kernel's futex and is
// not instrumented, so without this every value that they guard would seem to be raced for.
#include <dlfcn.h>
#include <glib.h>

extern "C" {
void __tsan_acquire(void* address);
void __tsan_release(void* address);
}

namespace {

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The functions of GLib, with the same names: the framework finds these first.
extern "C" {

void g_mutex_lock(GMutex* mutex) {
  static auto* const real = next<void(GMutex*)>("g_mutex_lock");
  real(mutex);
  __tsan_acquire(mutex);
}

gboolean g_mutex_trylock(GMutex* mutex) {
  static auto* const real = next<gboolean(GMutex*)>("g_mutex_trylock");
  const gboolean locked = real(mutex);
  if (locked) __tsan_acquire(mutex);
  return locked;
}

void g_mutex_unlock(GMutex* mutex) {
  static auto* const real = next<void(GMutex*)>("g_mutex_unlock");
  __tsan_release(mutex);
  real(mutex);
}

void g_rec_mutex_lock(GRecMutex* mutex) {
  static auto* const real = next<void(GRecMutex*)>("g_rec_mutex_lock");
  real(mutex);
  __tsan_acquire(mutex);
}

gboolean g_rec_mutex_trylock(GRecMutex* mutex) {
  static auto* const real = next<gboolean(GRecMutex*)>("g_rec_mutex_trylock");
  const gboolean locked = real(mutex);
  if (locked) __tsan_acquire(mutex);
  return locked;
}

void g_rec_mutex_unlock(GRecMutex* mutex) {
  static auto* const real = next<void(GRecMutex*)>("g_rec_mutex_unlock");
  __tsan_release(mutex);
  real(mutex);
}

void g_cond_wait(GCond* condition, GMutex* mutex) {
  static auto* const real = next<void(GCond*, GMutex*)>("g_cond_wait");
  __tsan_release(mutex);
  real(condition, mutex);
  __tsan_acquire(mutex);
}

gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end) {
  static auto* const real = next<gboolean(GCond*, GMutex*, gint64)>("g_cond_wait_until");
  __tsan_release(mutex);
  const gboolean signalled = real(condition, mutex, end);
  __tsan_acquire(mutex);
  return signalled;
}

}  // extern "C"
