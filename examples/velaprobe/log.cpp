#include "examples/velaprobe/log.h"

#include "examples/velaprobe/device_files.h"

namespace probe {

Log::~Log() {
  flush();
  if (file_) CloseHandle(file_);
}

bool Log::open(const char16_t* name) {
  void* const file = CreateFileW(name, kWriteAccess, 0, nullptr, kOnlyNew, 0, nullptr);
  if (file == kNoFile) return false;
  file_ = file;
  return true;
}

Log& Log::text(const char* text) {
  while (*text) put(*text++);
  return *this;
}

Log& Log::text(const char16_t* text) {
  while (*text) {
    uint32_t code = *text++;
    if ((code & 0xFC00) == 0xD800 && (*text & 0xFC00) == 0xDC00) {
      code = 0x10000 + ((code & 0x3FF) << 10 | (*text++ & 0x3FFu));
    } else if ((code & 0xF800) == 0xD800) {
      code = 0xFFFD;
    }
    if (code < 0x80) {
      put(static_cast<char>(code));
      continue;
    }
    const int tail = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    put(static_cast<char>((0xF00u >> (tail + 1) & 0xFF) | code >> (6 * tail)));
    for (int i = tail - 1; i >= 0; --i) put(static_cast<char>(0x80 | (code >> (6 * i) & 0x3F)));
  }
  return *this;
}

Log& Log::number(uint64_t value) {
  char digits[20];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (count > 0) put(digits[--count]);
  return *this;
}

Log& Log::hex(uint32_t value) {
  for (int shift = 28; shift >= 0; shift -= 4) put("0123456789abcdef"[value >> shift & 15]);
  return *this;
}

Log& Log::bytes(const uint8_t* bytes, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    put("0123456789abcdef"[bytes[i] >> 4]);
    put("0123456789abcdef"[bytes[i] & 15]);
  }
  return *this;
}

void Log::end() {
  put('\r');
  put('\n');
  flush();
}

void Log::put(char byte) {
  if (used_ == sizeof buffer_) flush();
  buffer_[used_++] = byte;
}

void Log::flush() {
  uint32_t done = 0;
  if (file_ && used_ > 0) WriteFile(file_, buffer_, used_, &done, nullptr);
  used_ = 0;
}

}  // namespace probe
