#include "examples/output_file.h"

#include <cstdio>
#include <random>
#include <system_error>

#include "examples/paths.h"

namespace fs = std::filesystem;

namespace {

fs::path NewNameIn(const fs::path& folder) {
  std::random_device random;
  fs::path path;
  std::error_code error;
  do {
    char name[24];
    std::snprintf(name, sizeof name, "cmm-%08x.part", random());
    path = folder / name;
  } while (fs::exists(path, error));
  return path;
}

// The file that a name leads to: a link is to stay one.
fs::path BehindLinks(const fs::path& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? path : real;
}

}  // namespace

std::string OutputProblem(const std::string& file, bool force) {
  const fs::path path = NativePath(file);
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) return file + " is a folder";
  if (fs::exists(status) && !force) return file + " exists already; --force overwrites it";
  if (fs::exists(status) && !fs::is_regular_file(status)) return file + " is no file that can be overwritten";
  const fs::path folder = path.parent_path();
  if (!folder.empty() && !fs::is_directory(folder, error)) return "there is no folder " + PathText(folder);
  return {};
}

PartialFile::PartialFile(const std::string& wanted)
    : wanted_(BehindLinks(NativePath(wanted))), path_(NewNameIn(wanted_.parent_path())) {}

PartialFile::~PartialFile() {
  std::error_code ignored;
  fs::remove(path_, ignored);
}

std::string PartialFile::Name() const {
  return PathText(path_);
}

std::string PartialFile::Keep() {
  std::error_code error;
  fs::rename(path_, wanted_, error);
  return error ? error.message() : std::string();
}
