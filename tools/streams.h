#pragma once
// "-" as the name of a file: standard input and output. A WAV file needs to seek, so both go through files in
// a temporary folder.

#include <filesystem>
#include <string>

class StandardStreams {
 public:
  StandardStreams() = default;
  ~StandardStreams();  ///< removes the folder
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;

  /// @return @p name, or for "-" a file with all of standard input. Throws a Failure
  std::string Source(const std::string& name);

  /// @return @p name, or for "-" that of a file which Send copies to standard output. What the program tells
  ///         goes to the standard error then. Throws a Failure
  std::string Target(const std::string& name);

  /// Copies the target, when it is complete. Throws a Failure
  void Send();

  /// A folder of this program alone for further temporary files, which are to be removed before the object goes. Throws
  /// a Failure
  std::filesystem::path Folder();

  /// Where the program tells what it does.
  std::FILE* Messages() const { return output_.empty() ? stdout : stderr; }

 private:
  std::filesystem::path folder_;
  std::filesystem::path input_;
  std::filesystem::path output_;
};

/// Throws a Failure for "-", where a program does not take it.
void RefuseStream(const std::string& name);
