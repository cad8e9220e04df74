// A file on the disk for the time of a test.
#pragma once
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "tests/support/boxes.h"

class WrittenFile {
 public:
  explicit WrittenFile(const boxes::Bytes& bytes) {
    const int descriptor = mkstemp(name_.data());
    std::FILE* const file = descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
    if (!file) throw std::runtime_error("no temporary file");
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !written) throw std::runtime_error("no room for a file");
  }
  WrittenFile(const WrittenFile&) = delete;
  WrittenFile& operator=(const WrittenFile&) = delete;
  ~WrittenFile() { std::remove(name_.c_str()); }

  const std::string& name() const { return name_; }

 private:
  std::string name_ = "/tmp/vela-bench-XXXXXX";
};
