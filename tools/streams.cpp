#include "tools/streams.h"

#include <fstream>
#include <random>
#include <vector>

#include "tools/paths.h"
#include "tools/terminal.h"
#include "tools/tool.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBlock = 65536;

}  // namespace

StandardStreams::~StandardStreams() {
  // Not remove_all, which ends the program when memory is short.
  std::error_code ignored;
  for (const fs::path* path : {&input_, &output_, &folder_}) {
    if (!path->empty()) fs::remove(*path, ignored);
  }
}

fs::path StandardStreams::Folder() {
  std::random_device random;
  std::error_code error;
  while (folder_.empty()) {
    fs::path path = fs::temp_directory_path(error) / ("cmmaudio-" + std::to_string(random()));
    if (!error && fs::create_directory(path, error)) {
      folder_ = std::move(path);
      fs::permissions(folder_, fs::perms::owner_all, error);
    }
    if (error) throw Failure("no folder for temporary files: " + error.message());
  }
  return folder_;
}

std::string StandardStreams::Source(const std::string& name) {
  if (name != "-") return name;
  if (IsTerminal(stdin)) throw Failure("- is standard input, and that is a terminal: pipe a file into it");
  input_ = Folder() / "standard-input";
  std::ofstream file(input_, std::ios::binary);
  std::vector<char> block(kBlock);
  long bytes = 0;
  while ((bytes = ReadInput(block.data(), block.size())) > 0 && file) file.write(block.data(), bytes);
  CheckStop();
  file.close();
  if (bytes < 0) throw Failure("standard input cannot be read");
  if (!file) throw Failure(PathText(input_) + " cannot be written: its disk is full");
  return PathText(input_);
}

std::string StandardStreams::Target(const std::string& name) {
  if (name != "-") return name;
  if (IsTerminal(stdout)) throw Failure("- is standard output, and that is a terminal: redirect it");
  output_ = Folder() / "standard-output";
  return PathText(output_);
}

void StandardStreams::Send() {
  if (output_.empty()) return;
  MakeOutputBinary();
  std::ifstream file(output_, std::ios::binary);
  std::vector<char> block(kBlock);
  do {
    file.read(block.data(), kBlock);
    const auto bytes = static_cast<std::size_t>(file.gcount());
    if (std::fwrite(block.data(), 1, bytes, stdout) != bytes)
      throw Failure("standard output is closed or full");
    CheckStop();
  } while (file);
  if (!file.eof() || file.bad()) throw Failure(PathText(output_) + " cannot be read");
}

void RefuseStream(const std::string& name) {
  if (name == "-") throw Failure("- is no file: name one (./- is a file of this name)");
}
