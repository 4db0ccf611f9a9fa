#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "midi/backends/virtual_backend.h"
#include "simulator/conversation.h"
#include "simulator/instrument.h"

namespace tonalith {

// Instruments on virtual cables: each becomes an input and an output port of the virtual backend ("Simulated Yamaha
// DX7").  They answer on the cables' own threads, in the backend's clock, so also in virtual time.  The backend must
// outlive the studio; the destructor unplugs everything and waits for answers that are being worked out.
class VirtualStudio {
 public:
  struct Options {
    std::uint32_t bytesPerSecond = 0;  // 3125 is a real MIDI cable; 0: at once
  };

  explicit VirtualStudio(VirtualBackend& backend) : VirtualStudio(backend, Options()) {}
  VirtualStudio(VirtualBackend& backend, Options options);
  VirtualStudio(const VirtualStudio&) = delete;
  VirtualStudio& operator=(const VirtualStudio&) = delete;
  ~VirtualStudio();

  // Plugs an instrument in, under its description's port name when none is given.  Returns its place, from 0.
  std::size_t Attach(std::unique_ptr<SimulatedInstrument> instrument, const std::string& portName = {});
  // All instruments with a description; false and a sentence in *problem when one cannot be read (the others are
  // there).
  bool AttachAll(std::string* problem) { return AttachAll(MadeInstruments::All(), problem); }
  bool AttachAll(MadeInstruments made, std::string* problem);
  // A cable whose far end plays a conversation.  What comes before the program says anything is sent by BeginTalk.
  std::size_t AttachConversation(Conversation conversation, const std::string& portName);
  void BeginTalk(std::size_t place);
  // ConversationPlayer::Verdict(); empty also for places that hold an instrument.
  std::string TalkVerdict(std::size_t place);

  std::size_t Count() const { return cables_.size(); }
  std::string PortName(std::size_t place) const;
  // Place of the instrument with that key, or of the port with that name; Count() when there is none.
  std::size_t Find(std::string_view keyOrPort) const;

  // Runs `use` on the instrument while no message is being worked on; false when the place holds none.
  bool With(std::size_t place, const std::function<void(SimulatedInstrument&)>& use);
  // Faults of the cable itself, towards the program: what is lost there the MIDI system knows of.
  void SetCableFaults(std::size_t place, const VirtualFaults& faults);
  // Bytes the cable has carried so far, both ways.
  std::int64_t Carried(std::size_t place) const;
  // The instrument's panel sends without being asked.
  bool PanelSend(std::size_t place, std::string_view message, int item = 0);
  // As SimulatedInstrument::Press; also false where there is no instrument.
  bool Press(std::size_t place, std::string_view list, std::string* problem);

  // What the instrument at `place` says comes in on the port of another place, as with cables put in crosswise.
  void AnswerOn(std::size_t place, std::size_t otherPlace);
  // A port pair where nobody answers.
  std::size_t AttachSilent(const std::string& portName);

  void Unplug(std::size_t place);
  void PlugIn(std::size_t place);  // also after a "port-vanishes" fault

 private:
  struct Cable {
    std::mutex mutex;
    std::string key;
    std::unique_ptr<SimulatedInstrument> instrument;
    std::unique_ptr<ConversationPlayer> talk;
    std::shared_ptr<VirtualEndpoint> endpoint;
    std::shared_ptr<VirtualEndpoint> answersOn;  // null: its own
    std::uint64_t queued = 0;                    // bytes handed to the cable, to the program
  };
  std::size_t Connect(std::shared_ptr<Cable> cable, const std::string& portName);
  static void OnBytes(Cable& cable, std::span<const std::uint8_t> bytes, std::int64_t timeUs);
  static void SendReplies(Cable& cable, const std::vector<Reply>& replies);

  VirtualBackend& backend_;
  Options options_;
  std::vector<std::shared_ptr<Cable>> cables_;
};

}  // namespace tonalith
