#pragma once

#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

/// A new empty folder; the destructor removes it.
class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
      char name[24];
      std::snprintf(name, sizeof name, "cmmaudio-%08x", random());
      path_ = std::filesystem::temp_directory_path() / name;
      if (std::filesystem::create_directory(path_)) return;
    }
    throw std::runtime_error("no temporary folder");
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::string Name() const { return path_.string(); }
  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};
