// faults_host JOB SOURCE TARGET: does a job twice; what fails, fails in the second, so that what is still held
// after it is lost. Exit code 1: the library has reported a failure.
// faults_host room COMMAND...: runs a command with a sound server of its own.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string_view>

#include "tests/faults/jobs.h"
#include "tests/support/SoundServer.h"

extern "C" {  // of the interposer
__attribute__((weak)) void BeginFaults();
__attribute__((weak)) void EndFaults();
}

namespace {

struct Job {
  std::string_view name;
  bool (*run)(const jobs::Files&);
};

constexpr Job kJobs[] = {{"record", jobs::RecordSignal},
                         {"record-room", jobs::RecordRoom},
                         {"read", jobs::Read},
                         {"write", jobs::Write},
                         {"convert-1", jobs::Convert<1>},
                         {"convert-2", jobs::Convert<2>},
                         {"wav-unit", jobs::Mirror<WavUnit, &WavUnit::WriteMirrorBuf>},
                         {"mm-wav-unit", jobs::Mirror<MMWavUnit, &MMWavUnit::WriteMirrorSubBuf>},
                         {"check", jobs::Check},
                         {"repair", jobs::Repair},
                         {"repair-in-place", jobs::RepairInPlace},
                         {"play", jobs::Play}};

int InRoom(char** command) {
  const SoundServer server;
  if (!server.IsRunning()) {
    std::fprintf(stderr, "%s\n", server.Problem().c_str());
    return 1;
  }
  const pid_t child = fork();
  if (child == 0) {
    execvp(command[0], command);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int Do(const Job& job, const jobs::Files& files) {
  // Twice the same, whatever the first leaves at the target.
  const std::filesystem::path kept = files.target + ".before";
  std::filesystem::copy_file(files.target, kept);
  if (!job.run(files)) return 2;
  std::filesystem::copy_file(kept, files.target, std::filesystem::copy_options::overwrite_existing);
  std::filesystem::remove(kept);
  if (BeginFaults != nullptr) BeginFaults();
  const bool fine = job.run(files);
  if (EndFaults != nullptr) EndFaults();
  if (!fine) std::fprintf(stderr, "faults_host: a call has failed\n");
  return fine ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 && argv[1] == std::string_view("room")) return InRoom(argv + 2);
  for (const Job& job : kJobs) {
    if (argc == 4 && argv[1] == job.name) return Do(job, {argv[2], argv[3]});
  }
  std::fprintf(stderr, "faults_host: unknown job\n");
  return 2;
}
