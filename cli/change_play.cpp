#include "cli/change_play.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <utility>

#include "chart/panel_binding.h"
#include "chart/simulator_changes.h"
#include "chart/type_lines.h"
#include "data/data_text.h"
#include "data/hex_text.h"
#include "parameters/patch_bytes.h"
#include "script/interpreter.h"
#include "script/script_services.h"
#include "script/transfer_context.h"
#include "simulator/description.h"
#include "simulator/instrument.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

// Keeps what is sent.
class KeepingServices final : public ScriptServices {
 public:
  int SendDataPort(std::span<const std::uint8_t> bytes, int /*port*/, TransferContext& /*context*/) override {
    sent.emplace_back(bytes.begin(), bytes.end());
    return static_cast<int>(bytes.size());
  }
  std::vector<Bytes> sent;
};

std::string Shown(const std::vector<Bytes>& messages) {
  std::string text;
  for (const Bytes& message : messages) text += (text.empty() ? "" : " + ") + HexText(message);
  return text;
}

// Bytes of the patch that parameters and their conditions lie in.
std::uint32_t SizeOf(const ParameterTable& table) {
  std::uint32_t size = 1;
  for (const Parameter& parameter : table.parameters) size = std::max(size, parameter.place.end());
  for (const ParameterCondition& condition : table.conditions)
    for (const ParameterCondition::Test& test : condition.tests) size = std::max(size, test.place.end());
  return size;
}

// A patch whose parameters are changed, and the instrument on the other side.
class ChangedPatch {
 public:
  ChangedPatch(const ParameterTable& table, const PanelData& messages, const DataFile& data,
               SimulatedInstrument* instrument)
      : table_(table), messages_(messages), synth_(*data.synth), instrument_(*instrument), size_(SizeOf(table)) {
    const auto body = BodySpan(data);
    made_.assign(body.begin(), body.end());
  }

  // False: no patch has the parameter.
  bool Begin(const Parameter& parameter) {
    image_ = made_;
    if (const ParameterCondition* condition = table_.ConditionOf(parameter))
      for (const ParameterCondition::Test& test : condition->tests)
        if (const std::int64_t now = test.place.Read(Patch().view()); now < test.range.min || now > test.range.max)
          test.place.Write(Patch(), test.range.min);
    if (!table_.IsIn(parameter, Patch().view())) return false;
    before_ = Logical();
    macro_ = TransmitMacro(parameter, table_, messages_);
    return true;
  }

  // What went wrong; empty: nothing.
  std::string Change(const Parameter& parameter, std::int64_t value) {
    if (!parameter.place.Write(Patch(), value)) return "its place does not hold " + std::to_string(value) + ".";
    Bytes expected = before_;
    for (const FieldBits& bits : parameter.place.bits) expected[bits.byte] = Byte(bits.byte);
    const std::vector<Bytes> sent = Sent(value + parameter.place.bias);
    if (sent.empty()) return "nothing is sent for " + std::to_string(value) + ".";
    instrument_.RestoreMemory(before_);
    for (const Bytes& message : sent) {
      const auto large =
          std::find_if(message.begin() + 1, message.end(), [](std::uint8_t byte) { return byte > 0x7F; });
      if (large != message.end() && *large != 0xF7)
        return Shown(sent) + " for " + std::to_string(value) + " has a byte above 7F.";
      instrument_.OnMessage(message, now_ += kMessageUs);
    }
    const Bytes now = instrument_.Memory();
    if (now == expected || (IsScaled(parameter) && IsNext(parameter, now, sent))) return {};
    const auto at = std::mismatch(now.begin(), now.end(), expected.begin(), expected.end());
    return Shown(sent) + " for " + std::to_string(value) + " makes byte " + std::to_string(at.first - now.begin()) +
           " of the instrument " + HexPair(*at.first) + ", not " + HexPair(*at.second) + ".";
  }

 private:
  static constexpr std::int64_t kMessageUs = 10000;

  bool IsScaled(const Parameter& parameter) const {
    constexpr std::int64_t kControllerValues = 128;
    return parameter.range.max - parameter.range.min >= kControllerValues &&
           table_.changes[static_cast<std::size_t>(parameter.change)].ends_with("scaled");
  }

  // A controller has fewer values than the parameter: the same message stands for what the instrument has now.
  bool IsNext(const Parameter& parameter, const Bytes& now, const std::vector<Bytes>& sent) {
    std::int64_t value = 0;
    int at = 0;
    for (const FieldBits& bits : parameter.place.bits) {
      value |= std::int64_t{now[bits.byte] >> bits.bit & ((1 << bits.width) - 1)} << at;
      at += bits.width;
    }
    return Sent(value) == sent;
  }

  PatchBytes Patch() { return {image_, synth_, 0}; }

  std::uint8_t Byte(std::uint32_t number) {
    for (const PatchPiece& piece : table_.pieces)
      if (piece.Holds(number)) return static_cast<std::uint8_t>(Patch().Get(number, piece));
    return static_cast<std::uint8_t>(Patch().Get(number));
  }

  Bytes Logical() {
    Bytes bytes(size_);
    for (std::uint32_t i = 0; i < size_; ++i) bytes[i] = Byte(i);
    return bytes;
  }

  std::vector<Bytes> Sent(std::int64_t stored) {
    KeepingServices services;
    TransferContext context;
    MacroStart start;
    start.x = static_cast<std::int32_t>(stored);
    RunMacro(services, context, synth_, {reinterpret_cast<const std::uint8_t*>(macro_.data()), macro_.size()},
             MacroBuffer(image_), start);
    return std::move(services.sent);
  }

  const ParameterTable& table_;
  const PanelData& messages_;
  Synth synth_;
  SimulatedInstrument& instrument_;
  const std::uint32_t size_;
  Bytes made_, image_, before_;
  std::string macro_;
  std::int64_t now_ = 0;
};

}  // namespace

PlayedChanges PlayChanges(const ParameterTable& table, const PanelData& messages, const DataFile& data,
                          int firstDevice) {
  PlayedChanges played;
  std::set<std::string> notSaid;
  const std::string changes = SimulatorChanges(table, messages, "patch", "change", &notSaid);
  const DescriptionResult read =
      ParseDescription("[instrument]\nkey = changes\nname = changes\ndevice_base = " + std::to_string(firstDevice) +
                           "\ndevice = " + std::to_string(std::max(0, data.synth->sysExChannel - firstDevice)) +
                           "\n[area patch]\nbytes = " + std::to_string(SizeOf(table)) + "\n" + changes,
                       "The instrument of the changes");
  if (!read.description) {
    if (!changes.empty()) played.mistakes.push_back({{}, read.problem});
    return played;
  }
  SimulatedInstrument instrument(*read.description);
  ChangedPatch patch(table, messages, data, &instrument);
  for (const Parameter& parameter : table.parameters) {
    if (TransmitMacro(parameter, table, messages).empty()) continue;
    if (notSaid.contains(parameter.name)) {
      played.notSaid.push_back(parameter.name);
      continue;
    }
    if (!patch.Begin(parameter)) {
      played.notIn.push_back(parameter.name);
      continue;
    }
    ++played.parameters;
    const FieldRange& range = parameter.range;
    for (const std::int64_t value : {range.min, range.max, range.min + (range.max - range.min) / 2})
      if (std::string wrong = patch.Change(parameter, value); !wrong.empty()) {
        played.mistakes.push_back({parameter.name, std::move(wrong)});
        break;
      }
  }
  return played;
}

}  // namespace tonalith
