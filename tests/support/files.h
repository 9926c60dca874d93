#pragma once
// Files for tests: a folder that goes with the test, whole contents at a time, and a limit on what the disk
// takes.

#include <sys/resource.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace test {

using Bytes = std::vector<char>;

inline Bytes Load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

inline void Store(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

/// Bytes that tell their place and do not repeat soon.
inline Bytes Pattern(std::size_t count, std::uint32_t seed = 1) {
  Bytes bytes(count);
  for (char& byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<char>(seed >> 24);
  }
  return bytes;
}

/// While it lives, no file of the process grows beyond a size: what a full disk looks like.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::size_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit now = before_;
    now.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &now);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

 private:
  rlimit before_ = {};
};

}  // namespace test
