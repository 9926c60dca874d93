// Through PulseAudio's library, to which PipeWire's server answers too.
#include <pulse/pulseaudio.h>

#include <chrono>
#include <memory>

#include "tools/sound_server.h"

namespace {

using Clock = std::chrono::steady_clock;

struct FreeLoop {
  void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
};
struct FreeContext {
  void operator()(pa_context* context) const {
    pa_context_disconnect(context);
    pa_context_unref(context);
  }
};
struct FreeOperation {
  void operator()(pa_operation* operation) const { pa_operation_unref(operation); }
};

struct List {
  std::vector<ServerDevice> devices;
  bool isComplete = false;
};

// pa_source_info and pa_sink_info begin in the same way.
template <class Info>
void Collect(pa_context* /*context*/, const Info* info, int end, void* context) {
  auto& list = *static_cast<List*>(context);
  if (end != 0) {
    list.isComplete = true;
    return;
  }
  const std::string name = info->name;
  list.devices.push_back({"pulse:" + name, info->description != nullptr ? info->description : name});
}

class Server {
 public:
  Server() : loop_(pa_mainloop_new()) {
    if (loop_ == nullptr) return;
    context_.reset(pa_context_new(pa_mainloop_get_api(loop_.get()), "cmmaudio"));
    if (context_ == nullptr) return;
    pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
  }

  std::vector<ServerDevice> Devices(ServerDevices which) {
    List list;
    if (context_ == nullptr || !RunUntil([&] { return State() == PA_CONTEXT_READY; })) return {};
    const std::unique_ptr<pa_operation, FreeOperation> operation(
        which == ServerDevices::kSources
            ? pa_context_get_source_info_list(context_.get(), Collect<pa_source_info>, &list)
            : pa_context_get_sink_info_list(context_.get(), Collect<pa_sink_info>, &list));
    if (operation == nullptr || !RunUntil([&] { return list.isComplete; })) return {};
    return list.devices;
  }

 private:
  pa_context_state_t State() const { return pa_context_get_state(context_.get()); }

  template <class Done>
  bool RunUntil(Done done) {
    constexpr int kStepMicroseconds = 100'000;
    const auto limit = Clock::now() + std::chrono::seconds(2);
    while (!done()) {
      if (Clock::now() > limit || !PA_CONTEXT_IS_GOOD(State())) return false;
      if (pa_mainloop_prepare(loop_.get(), kStepMicroseconds) < 0 || pa_mainloop_poll(loop_.get()) < 0 ||
          pa_mainloop_dispatch(loop_.get()) < 0) {
        return false;
      }
    }
    return true;
  }

  std::unique_ptr<pa_mainloop, FreeLoop> loop_;
  std::unique_ptr<pa_context, FreeContext> context_;  // released before its loop
};

}  // namespace

std::vector<ServerDevice> ListServerDevices(ServerDevices which) {
  return Server().Devices(which);
}
