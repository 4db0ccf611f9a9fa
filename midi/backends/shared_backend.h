#pragma once

#include <memory>
#include <utility>

#include "midi/backend.h"

namespace tonalith {

// Hands everything on to a backend that its open handles keep alive.
class SharedBackend final : public MidiBackend {
 public:
  explicit SharedBackend(std::shared_ptr<MidiBackend> backend) : backend_(std::move(backend)) {}
  ~SharedBackend() override { backend_->Stop(); }
  std::string Name() const override { return backend_->Name(); }
  Result Start() override { return backend_->Start(); }
  void Stop() override { backend_->Stop(); }
  bool Running() const override { return backend_->Running(); }
  std::uint64_t Xruns() const override { return backend_->Xruns(); }
  std::vector<MidiDeviceInfo> Devices(MidiDirection direction) override { return backend_->Devices(direction); }
  std::vector<std::string> OtherWriters(const std::string& id) override { return backend_->OtherWriters(id); }
  Result OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) override {
    return backend_->OpenOutput(id, handle);
  }
  Result OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) override {
    return backend_->OpenInput(id, std::move(sink), handle);
  }
  void SetChangeNotice(std::function<void()> changed) override { backend_->SetChangeNotice(std::move(changed)); }

 private:
  std::shared_ptr<MidiBackend> backend_;
};

}  // namespace tonalith
