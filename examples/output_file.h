#pragma once
// Files that the example programs make.

#include <filesystem>
#include <string>

/// What keeps a program from making this file, as far as that can be said before.
/// @param force an existing file may be overwritten
/// @return empty when nothing does; otherwise a sentence for the user
std::string OutputProblem(const std::string& file, bool force);

/// A file that is being made, under a name of its own in the folder where it is wanted. It is gone with the
/// object unless it was kept.
class PartialFile {
 public:
  explicit PartialFile(const std::string& wanted);
  ~PartialFile();
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  std::string Name() const;  ///< as the library takes it
  /// Gives the finished file its wanted name, in place of a file that has it.
  /// @return empty on success; otherwise what the system says
  std::string Keep();

 private:
  std::filesystem::path wanted_;
  std::filesystem::path path_;
};
