#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "script/protocols/built_in_protocols.h"
#include "script/script_services.h"

namespace tonalith {

// A protocol's line on the ports of one descriptor.
class ServicesLine final : public ProtocolLine {
 public:
  ServicesLine(ScriptServices& services, TransferContext& context, int inPort, int outPort)
      : services_(services), context_(context), inPort_(inPort), outPort_(outPort) {}

  int Send(std::span<const std::uint8_t> bytes) override;
  int SendBare(std::span<const std::uint8_t> bytes) override;
  void Stage(std::span<const std::uint8_t> bytes) override;
  void StageBare(std::span<const std::uint8_t> bytes) override;
  int Receive(std::span<std::uint8_t> into) override;
  void Await(std::vector<AnswerStep> steps) override { context_.awaited = {std::move(steps)}; }
  void AwaitOnly(AnswerStep messages) override { context_.awaited = {{std::move(messages)}, true}; }
  void AwaitImage(const Synth& synth) override {
    context_.awaited = AnswerTo(synth, context_, 0, synth.fileSize, true);
  }
  RefusedMessage Refused() const override { return context_.passedOver; }
  int ExtraAttempts() const override { return std::max(context_.extraAttempts - context_.spentAttempts, 0); }
  void SpendAttempts() override { context_.spentAttempts = std::max(context_.spentAttempts, context_.extraAttempts); }
  void Delay(std::uint32_t ms) override;
  void AllPortReceiving(AcceptAny mode) override { context_.acceptAny = mode; }
  bool Cancelled() const override;
  bool Blocked() const override { return services_.MidiBlocked(); }
  void Report(const std::string& text) override;

 private:
  ScriptServices& services_;
  TransferContext& context_;
  int inPort_;
  int outPort_;
};

}  // namespace tonalith
