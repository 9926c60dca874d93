#pragma once
// A private sound server for tests: needs no sound card and no user's server, and leaves nothing.

#include <sys/types.h>

#include <string>
#include <vector>

/// Runs PulseAudio with one sink, "room" (44100 Hz, stereo, 16 bits), in a fresh folder. What is played into
/// the room is what ALSA's `default` captures; `pulse:NAME` is any device of the server. The environment of this process and its children points there
/// from the constructor on, so make it before anything opens a device. One at a time; one thread.
///
///     SoundServer server;
///     ASSERT_TRUE(server.IsRunning()) << server.Problem();
class SoundServer {
 public:
  SoundServer();   ///< returns when the server answers, or has failed to within ten seconds
  ~SoundServer();  ///< ends the server and the players, and removes the folder
  SoundServer(const SoundServer&) = delete;
  SoundServer& operator=(const SoundServer&) = delete;

  bool IsRunning() const { return server_ > 0 && problem_.empty(); }
  const std::string& Problem() const { return problem_; }

  /// A name in the server's folder, for what a test writes.
  std::string Path(const std::string& name) const { return folder_ + "/" + name; }

  /// Plays a WAV file into the room in the background. @return false when the player could not be started
  bool Play(const std::string& wavFile);
  void StopPlaying();

  /// Ends the server at once, as if its device had been pulled out.
  void Kill();

  /// Stops the server's process, and lets it go on.
  void Freeze() const;
  void Thaw() const;

 private:
  pid_t Launch(const std::vector<std::string>& command);
  bool Answers() const;

  std::string folder_;
  std::string problem_;
  pid_t server_ = -1;
  std::vector<pid_t> players_;
};
