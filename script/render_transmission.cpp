#include "script/render_transmission.h"

#include <algorithm>

#include "script/protocols/built_in_protocols.h"
#include "script/services_line.h"
#include "script/transfer_engine.h"

namespace tonalith {

namespace {

// Takes what a transmission says, answers nothing.
class RenderServices final : public ScriptServices {
 public:
  int SendDataPort(std::span<const std::uint8_t> bytes, int /*port*/, TransferContext& /*context*/) override {
    out.stream.insert(out.stream.end(), bytes.begin(), bytes.end());
    return static_cast<int>(bytes.size());
  }
  // What a receive would have sent is part of the exchange; no answer comes.
  int GetDataSkipPort(std::span<std::uint8_t> /*destination*/, int port, std::int64_t /*skip*/,
                      TransferContext& context) override {
    if (context.staged) SendDataPort(context.staged->bytes, port, context);
    context.staged.reset();
    return kReceiveNothing;
  }
  bool CanBeAnswered(const TransferContext& /*context*/) override { return false; }
  void CreateDelayEvent(int /*port*/, std::uint32_t ms, TransferContext& /*context*/) override {
    out.pauses.emplace_back(out.stream.size(), ms);
  }

  // One way whatever the script asks for: a file gives no acknowledgements.
  int MacroRoland(Synth& synth, std::span<std::uint8_t> buffer, int parameter3, int parameter0, int /*parameter1*/,
                  int parameter2, TransferContext& context) override {
    ServicesLine line(*this, context, synth.midiInPort, synth.midiOutPort);
    return BuiltInProtocols(line).MacroRoland(synth, ByteWindow(buffer), static_cast<std::uint32_t>(parameter3),
                                              static_cast<std::uint32_t>(std::max(0, parameter0)), 0, parameter2 != 0);
  }

  void ScriptStopped(const Synth& synth, const std::string& text) override {
    ScriptServices::ScriptStopped(synth, text);
    out.scriptStop = text;
  }

  RenderedTransmission out;
};

}  // namespace

RenderedTransmission RenderTransmission(DataFile& dataFile, Prompts& prompts) {
  RenderServices services;
  if (!dataFile.synth || !dataFile.body) return {};
  const std::uint8_t handshake = dataFile.synth->rolandHandshake;
  {
    TransferEngine engine(services, prompts);
    dataFile.synth->rolandHandshake = 0;
    engine.MidiSendDataFileAll(&dataFile);
    dataFile.synth->rolandHandshake = handshake;
  }
  return std::move(services.out);
}

}  // namespace tonalith
