#include "tools/output_file.h"

#include <cstdio>
#include <system_error>

#include "tools/paths.h"
#include "tools/streams.h"
#include "tools/tool.h"

namespace fs = std::filesystem;

namespace {

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : ".";
}

std::string Reason(const fs::path& path, const std::error_code& error) {
  std::error_code unknown;
  if (error == std::errc::filename_too_long) return "the name is too long";
  if (error == std::errc::read_only_file_system) return "its disk is read-only";
  if (error == std::errc::no_space_on_device) return "its disk is full";
  if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted) {
    return fs::exists(path, unknown) ? "you have no right to write to it"
                                     : "you have no right to make files in " + PathText(FolderOf(path));
  }
  return error.message();
}

[[noreturn]] void Fail(const std::string& file, const fs::path& path, const std::error_code& error) {
  throw Failure(file + " cannot be written: " + Reason(path, error));
}

fs::path WithSuffix(fs::path path, const char* suffix) {
  path += suffix;
  return path;
}

// The file that a link leads to, so that the link is kept and its file replaced.
fs::path ResolveLinks(const fs::path& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? path : real;
}

}  // namespace

void CheckOutput(const std::string& file, bool force) {
  RefuseStream(file);
  const fs::path path = NativePath(file);
  std::error_code error;
  const fs::path folder = FolderOf(path);
  const fs::file_status folderStatus = fs::status(folder, error);
  if (fs::status_known(folderStatus) && !fs::is_directory(folderStatus)) {
    throw Failure("there is no folder " + PathText(folder));
  }
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) throw Failure(file + " is a folder");
  if (fs::exists(status) && !force) throw Failure(file + " exists already; --force overwrites it");
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw Failure(file + " is no file that can be overwritten");
  }
  if (!fs::status_known(status)) Fail(file, path, error);
}

void CheckWritable(const std::string& file) {
  const fs::path path = NativePath(file);
  if (const std::error_code error = TryToWrite(path)) Fail(file, path, error);
}

void CheckSpace(const std::string& file, double bytes) {
  constexpr double kMegabyte = 1e6;
  std::error_code unknown;
  const fs::space_info space = fs::space(FolderOf(NativePath(file)), unknown);
  if (unknown || static_cast<double>(space.available) >= bytes) return;
  char text[120];
  std::snprintf(text, sizeof text, " needs %.1f MB, and its disk has %.1f MB left", bytes / kMegabyte,
                static_cast<double>(space.available) / kMegabyte);
  throw Failure(file + text);
}

PartialFile::PartialFile(const std::string& wanted, const char* suffix)
    : name_(wanted), wanted_(ResolveLinks(NativePath(wanted))), path_(WithSuffix(wanted_, suffix)) {
  std::error_code error;
  file_ = CreateNewFile(path_, wanted_, error);
  if (file_) return;
  if (error == std::errc::device_or_resource_busy) {
    throw Failure(name_ + " cannot be written: another program writes it now, in " + PathText(path_));
  }
  if (error == std::errc::file_exists) {
    throw Failure(name_ + " cannot be written: " + PathText(path_) + " is in the way, and is no plain file");
  }
  Fail(name_, path_, error);
}

PartialFile::~PartialFile() {
  std::error_code ignored;
  if (!isKept_) fs::remove(path_, ignored);
}

std::string PartialFile::Name() const {
  return PathText(path_);
}

void PartialFile::Prepare(bool force) {
  CheckOutput(name_, force);
  if (const std::error_code error = file_->Finish()) Fail(name_, wanted_, error);
  isPrepared_ = true;
}

void PartialFile::Keep(bool force) {
  if (!isPrepared_) Prepare(force);
  std::error_code error;
  fs::rename(path_, wanted_, error);
  if (error) Fail(name_, wanted_, error);
  isKept_ = true;
}
