#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/description.h"
#include "simulator/fault_plan.h"

namespace tonalith {

// Bytes the instrument sends, `delayUs` microseconds after the bytes came in that made it do so.
struct Reply {
  std::vector<std::uint8_t> bytes;
  std::int64_t delayUs = 0;
};

// A line of the list on the instrument's panel.
struct PanelEntry {
  std::string area;    // key of the area
  int item = 0;        // from 0
  std::string number;  // as the panel shows it, e.g. "I-11"
  std::string name;    // without trailing blanks; empty when the instrument has no names
};

struct LoadResult {
  int messages = 0;                // complete SysEx messages found
  int taken = 0;                   // of them, put into memory
  std::vector<std::string> notes;  // sentences about those that were not
};

// One instrument, without any transport: bytes in, bytes out.  Time is whatever the caller says it is.
// Not thread safe; VirtualStudio guards it.
class SimulatedInstrument {
 public:
  // Starts with factory contents made up by the program.
  explicit SimulatedInstrument(InstrumentDescription description);
  SimulatedInstrument(SimulatedInstrument&&) noexcept;
  SimulatedInstrument& operator=(SimulatedInstrument&&) noexcept;
  ~SimulatedInstrument();

  // By key, with its description from the resource folder; null and a sentence in *problem when that fails.
  static std::unique_ptr<SimulatedInstrument> Create(std::string_view key, std::string* problem);
  // By the name or the key of an instrument and the name of one of its data types (single bytes; empty: any): a sister
  // model may know it.  Null and a sentence in *problem when there is none, or what is wrong with its description.
  static std::unique_ptr<SimulatedInstrument> CreateFor(std::string_view instrument, std::string_view type,
                                                        std::string* problem);

  // The instrument a raw SysEx dump belongs to, loaded with it: of all descriptions the one that takes the most of its
  // messages.  Null and a sentence in *problem when none takes any.
  static std::unique_ptr<SimulatedInstrument> CreateForDump(std::span<const std::uint8_t> dump, std::string* problem);

  const InstrumentDescription& description() const;

  // How fast bytes follow each other on the cable (3125 a second on a real one); the times of the bytes of one piece
  // are reckoned back from the last.  0: they come all at once.
  void SetWireRate(std::uint32_t bytesPerSecond);

  // Any bytes from the cable (parts of messages, several messages, real time bytes between), the last of which came in
  // at nowUs.  nowUs never goes backwards.
  std::vector<Reply> OnBytes(std::span<const std::uint8_t> bytes, std::int64_t nowUs);
  std::vector<Reply> OnMessage(std::span<const std::uint8_t> message, std::int64_t nowUs) {
    return OnBytes(message, nowUs);
  }

  // Fills memory from a raw SysEx dump or Standard MIDI File, whatever its device number; memory protect and read only
  // places do not hold.  Edit buffers the dump says nothing about take the first item of a bank that it fills, as when
  // the instrument is switched on.
  LoadResult LoadDump(std::span<const std::uint8_t> dump);
  // Memory as the SysEx the instrument would send when asked for everything; banks whose number is not in their
  // messages are chosen first.
  std::vector<std::uint8_t> Dump() const;
  // One kind of message (keys as in the description), for the item where the kind has several; empty: no such message.
  std::vector<std::uint8_t> DumpOf(std::string_view message, int item = 0) const;
  // The same for a file: what chooses the item's bank goes first where the message does not say it.
  std::vector<std::uint8_t> FileOf(std::string_view message, int item) const;
  // Address based instruments: the messages that answer a request for `bytes` bytes from the linear address.
  std::vector<std::vector<std::uint8_t>> DumpRange(std::uint32_t address, std::uint32_t bytes) const;

  // The unpacked bytes of one item; empty when there is none.
  std::vector<std::uint8_t> Item(std::string_view area, int item) const;
  // All bytes of all areas in order; equal memory images mean equal instruments.
  std::vector<std::uint8_t> Memory() const;
  // Puts back what Memory() gave; false (and nothing changes) when the size is another.
  bool RestoreMemory(std::span<const std::uint8_t> image);
  void RestoreFactory();

  // Device number as the panel counts it from 0 (for channel based instruments also the MIDI channel).
  void SetDevice(int device);
  int device() const;

  // --- Front panel ---
  void SetMemoryProtect(bool on);
  bool memoryProtect() const;
  // Writes a name into memory as if typed on the panel: cut to length, unknown characters become blanks.
  bool Rename(std::string_view area, int item, std::string_view name);
  // Takes an item into the edit buffer; Store puts the edit buffer into an item.
  bool SelectPatch(std::string_view area, int item);
  bool StorePatch(std::string_view area, int item);
  // The panel's send function: messages without being asked; "everything" sends what Dump() holds.
  std::vector<Reply> PanelSend(std::string_view message, int item = 0);
  // A list of them: "KEY", "KEY[5]", "KEY[0..99]"...  False and a sentence in *problem when one of them is not known.
  bool Press(std::string_view list, std::vector<Reply>* replies, std::string* problem);
  std::vector<std::string> PanelKeys() const;  // what the panel can send
  // The patch list of all areas that the panel shows, or of one of them.
  std::vector<PanelEntry> PanelList(std::string_view area = {}) const;
  // What the display says about the last thing that happened, e.g. "CHECKSUM ERROR"; empty at first.
  const std::string& display() const;

  // --- Faults ---
  void SetFaults(FaultPlan plan);
  // A "port-vanishes" fault has struck: the cable is out, nothing is heard or said any more.
  bool vanished() const;
  void PlugInAgain();

  // Bytes lost because they came faster than the instrument takes them.
  std::int64_t lostBytes() const;
  int messagesReceived() const;
  int messagesSent() const;

 private:
  bool PressOne(std::string_view message, int item);  // false: the panel does not know the message
  struct State;
  std::unique_ptr<State> state_;
};

// All instruments with a description, in the order of their keys.
struct MadeInstruments {
  // Reads the descriptions, several at a time.
  static MadeInstruments All();

  std::vector<std::unique_ptr<SimulatedInstrument>> instruments;
  std::string problem;  // a sentence for each that could not be read, empty when all are there
};

}  // namespace tonalith
