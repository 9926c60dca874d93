#include "tests/support/SoundServer.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

using namespace std::chrono_literals;

void End(pid_t process) {
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
}

std::string Contents(const std::string& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

#if defined(__SANITIZE_THREAD__)
#define CMM_TSAN
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define CMM_TSAN
#endif
#endif
#if defined(CMM_TSAN)
// The thread sanitizer asks the program for this. The client library of the sound server is not instrumented,
// and passes blocks between threads in ways that the sanitizer cannot see. The plug-in that writes into our
// memory is not suppressed: a race over a ring is still found.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
  return "race:libpulse.so\nrace:libpulsecommon\n";
}
#endif

SoundServer::SoundServer() {
  std::string pattern = (std::filesystem::temp_directory_path() / "sound-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    problem_ = "no folder for the sound server";
    return;
  }
  folder_ = pattern;
  const std::string address = "unix:" + Path("pulse.sock");
  std::ofstream(Path("asound.conf")) << "pcm.!default { type pulse server \"" << address << "\" }\n"
                                     << "ctl.!default { type pulse server \"" << address << "\" }\n"
                                     << "pcm.pulse { @args [ DEVICE ] @args.DEVICE { type string } "
                                     << "type pulse device $DEVICE }\n";
  for (const char* variable :
       {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "PULSE_RUNTIME_PATH", "PULSE_STATE_PATH"})
    setenv(variable, folder_.c_str(), 1);
  setenv("PULSE_SERVER", address.c_str(), 1);
  setenv("ALSA_CONFIG_PATH", Path("asound.conf").c_str(), 1);

  server_ = Launch({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no", "-L",
                    "module-native-protocol-unix socket=" + Path("pulse.sock") + " auth-anonymous=1", "-L",
                    "module-null-sink sink_name=room rate=44100 channels=2"});
  for (const auto end = std::chrono::steady_clock::now() + 10s; !Answers();) {
    const bool ended = server_ < 0 || waitpid(server_, nullptr, WNOHANG) != 0;
    if (!ended && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(20ms);
      continue;
    }
    problem_ = "pulseaudio (is it installed?) does not answer: " + Contents(Path("log"));
    if (ended) server_ = -1;
    return;
  }
}

SoundServer::~SoundServer() {
  StopPlaying();
  Kill();
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

/// Starts a program that ends with this process, its messages going to the folder's log.
pid_t SoundServer::Launch(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& each : command) arguments.push_back(const_cast<char*>(each.c_str()));
  arguments.push_back(nullptr);
  const std::string log = Path("log");
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child != 0) return child;
  // Only what is allowed between fork and exec in a process with threads.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(127);
  const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

bool SoundServer::Answers() const {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  Path("pulse.sock").copy(address.sun_path, sizeof address.sun_path - 1);
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool connected = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(probe);
  return connected;
}

bool SoundServer::Play(const std::string& wavFile) {
  const pid_t player = Launch({"paplay", "--device=room", wavFile});
  if (player > 0) players_.push_back(player);
  return player > 0;
}

void SoundServer::StopPlaying() {
  for (const pid_t player : players_) End(player);
  players_.clear();
}

void SoundServer::Kill() {
  if (server_ > 0) End(server_);
  server_ = -1;
}

void SoundServer::Freeze() const {
  kill(server_, SIGSTOP);
}

void SoundServer::Thaw() const {
  kill(server_, SIGCONT);
}
