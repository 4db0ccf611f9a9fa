#include "cli/transfer_command.h"

#include <algorithm>

#include "data/container.h"
#include "data/standard_midi_file.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "studio/device_ids.h"
#include "studio/type_check.h"

namespace tonalith {

const char kTransferOptions[] =
    "  --in NAME, --out NAME   MIDI ports, by name or a part of it that only one has; without them those that the\n"
    "                          studio remembers for the instrument, else the only ones there are\n"
    "  --device N              device ID, as the instrument shows it\n"
    "  --channel N             MIDI channel, 1 to 16\n"
    "  --patch N               number of a single patch; for banks got patch by patch: only this patch (from 0, may "
    "be\n"
    "                          given several times)\n"
    "  --timeout MS            longest silence while receiving\n"
    "  --record FILE           writes the exchange as a conversation\n"
    "instead of real ports, in virtual time:\n"
    "  --virtual DUMP          a simulated instrument loaded with DUMP (raw SysEx, MIDI file or data file), or with\n"
    "                          contents of its own: --virtual factory; FILE.sim: the one of that description\n"
    "  --fault PLAN            faults of its cable, for example lost-byte:reply=1,at=100 (docs/simulator.md)\n"
    "  --press LIST            starts a dump at its panel: MESSAGE, MESSAGE[5] or MESSAGE[0..31], blanks between\n"
    "  --state FILE            writes what the simulated instrument can dump to FILE afterwards\n"
    "  --conversation FILE     an exchange in lines OUT hex, IN hex, WAIT ms; another exchange is a failure\n";

Result ReadOptions(const CliArguments& args, TransferOptions* options) {
  Result result = args.state();
  options->in = args.Option("in").value_or("");
  options->out = args.Option("out").value_or("");
  options->virtualDump = args.Option("virtual").value_or("");
  options->fault = args.Option("fault").value_or("");
  options->press = args.Option("press").value_or("");
  options->state = args.Option("state").value_or("");
  options->conversation = args.Option("conversation").value_or("");
  options->type = args.Option("type").value_or("");
  options->record = args.Option("record").value_or("");
  options->isVirtual = args.Has("virtual");
  options->isConversation = args.Has("conversation");
  if (result.ok()) result = args.Number("device", 0, 128, -1, &options->device);
  if (result.ok()) result = args.Number("channel", 1, 16, 0, &options->channel);
  if (result.ok()) result = args.Number("timeout", 1, 3'600'000, 0, &options->timeout);
  for (const std::string& text : args.Options("patch")) {
    const auto number = ParseInteger(text);
    if (result.ok() && (!number || *number < 0 || *number > 65535))
      result = Result::Failure("--patch takes a number from 0, not \"" + text + "\".");
    options->patches.push_back(number.value_or(0));
  }
  if (result.ok() && options->isVirtual && options->isConversation)
    result = Result::Failure("--virtual and --conversation exclude each other.");
  if (result.ok() && !options->isVirtual &&
      (!options->fault.empty() || !options->state.empty() || !options->press.empty()))
    result = Result::Failure("--fault, --press and --state belong to --virtual.");
  return result;
}

const std::vector<std::string>& TransferOptionNames() {
  static const std::vector<std::string> names{"in",    "out",   "device", "channel",      "timeout", "patch", "virtual",
                                              "fault", "press", "state",  "conversation", "type",    "record"};
  return names;
}

namespace {

// The SysEx in a file, whatever kind of file it is.
Result ReadSysExOf(Session& session, const std::string& path, std::vector<std::uint8_t>* sysex) {
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadCliFile(session.environment(), path, &bytes); !read.ok()) return read;
  sysex->clear();
  if (IsStandardMidiFile(bytes)) {
    SmfContents contents;
    std::string error;
    if (!ReadSmfSysEx(bytes, &contents, &error)) return Result::Failure(path + ": " + error);
    for (const SmfSysEx& message : contents.messages)
      if (message.isTerminated) sysex->insert(sysex->end(), message.bytes.begin(), message.bytes.end());
    return Result::Success();
  }
  if (!LooksLikeDataFile(bytes) && !IsListFile(bytes)) {
    *sysex = std::move(bytes);
    return Result::Success();
  }
  Recognition found;
  if (Result result = session.recognizer().Recognize(bytes, &found); !result.ok()) return result;
  for (const RecognizedPiece& piece : found.pieces) {
    std::vector<std::uint8_t> part;
    if (Result result = RenderBytes(session, piece.data.get(), &part); !result.ok()) return result;
    sysex->insert(sysex->end(), part.begin(), part.end());
  }
  return Result::Success();
}

}  // namespace

TransferCommand::TransferCommand(Session& session, const TransferOptions& options)
    : session_(session),
      options_(options),
      rig_(session,
           options.isVirtual || options.isConversation ? TransferRig::Kind::Virtual : TransferRig::Kind::Real) {}

Result TransferCommand::Prepare(ZKDrvList* instrument, bool needsInput, const ZKDrvList* type) {
  rig_.SetPatience({-1, options_.timeout});
  rig_.services().SetReceivedChecks(
      [&studio = session_.studio()](const DataFile& data) { return CheckOfType(studio, data); });
  Result result = Result::Success();
  if (options_.isVirtual) result = PlugSimulated(instrument, type);
  if (options_.isConversation) result = PlugTalk();
  if (!result.ok()) return result;
  if (instrument) result = SetChannels(instrument);
  if (result.ok()) result = OpenPorts(instrument, needsInput);
  if (result.ok() && instrument) rig_.RoutePorts(instrument);
  return result;
}

Result TransferCommand::Run(TransferOperation operation, DataFile* data, const GetOptions& get) {
  return rig_.Run(operation, data, AtTheOtherEnd(), get);
}

Result TransferCommand::Run(DeskRequest request) {
  return rig_.Run(std::move(request), AtTheOtherEnd());
}

TransferRig::Watcher TransferCommand::AtTheOtherEnd() {
  return [this](Transfer&) {
    // What the far end says of its own accord comes when the receive is armed.
    if (std::exchange(talkBegun_, true)) return;
    if (options_.isConversation) rig_.cables().BeginTalk(place_);
    std::string problem;  // none: it was tried before
    if (!options_.press.empty()) rig_.cables().Press(place_, options_.press, &problem);
  };
}

Result TransferCommand::Outcome(const Result& transfers, const Result& end) const {
  const TransferCause cause = rig_.LastResult().cause;
  const bool endedHere = cause == TransferCause::kScriptStopped || cause == TransferCause::kCancelled;
  return end.ok() || (!transfers.ok() && (!options_.isConversation || endedHere)) ? transfers : end;
}

Result TransferCommand::Finish(TransferOperation operation) {
  if (!options_.record.empty()) {
    if (Result written = WriteFileAtomically(options_.record, std::string_view(rig_.Exchange())); !written.ok())
      return written;
  }
  if (options_.isConversation) {
    rig_.clock().SleepMs(100);
    const std::string verdict = rig_.cables().TalkVerdict(place_);
    if (!verdict.empty()) return Result::Failure(options_.conversation + ": " + verdict);
  }
  return options_.isVirtual ? FinishSimulated(operation) : Result::Success();
}

// Keeps the memory; a transmission that the instrument complains about has failed.
Result TransferCommand::FinishSimulated(TransferOperation operation) {
  std::vector<std::uint8_t> memory;
  std::string display, name;
  rig_.cables().With(place_, [&](SimulatedInstrument& instrument) {
    memory = state_->Dump(instrument);
    display = instrument.display();
    name = instrument.description().name;
  });
  if (!options_.state.empty()) {
    Result written = WriteFileAtomically(options_.state, std::span<const std::uint8_t>(memory));
    if (!written.ok()) return written;
  }
  const bool content = display.empty() || display == "RECEIVED" || display == "OK" || display == "COMPLETE";
  if (content || operation == TransferOperation::kReceive) return Result::Success();
  return Result::Failure("The display of the simulated " + name + " says: " + display + ".");
}

Result TransferCommand::PlugSimulated(ZKDrvList* instrument, const ZKDrvList* type) {
  std::string problem;
  std::vector<std::uint8_t> dump;
  const bool described = options_.virtualDump.ends_with(kDescriptionEnding);
  const bool factory = described || options_.virtualDump == "factory";
  if (!factory) {
    if (Result read = ReadSysExOf(session_, options_.virtualDump, &dump); !read.ok()) return read;
  }
  std::unique_ptr<SimulatedInstrument> simulated;
  if (described) {
    DescriptionResult read = LoadDescription(options_.virtualDump);
    if (!read.description) return Result::Failure(read.problem);
    simulated = std::make_unique<SimulatedInstrument>(std::move(*read.description));
  }
  if (instrument && !described)
    simulated = SimulatedInstrument::CreateFor(instrument->name, type ? type->TypeName() : "", &problem);
  if (!simulated && !factory) simulated = SimulatedInstrument::CreateForDump(dump, &problem);
  if (!simulated) return Result::Failure(problem);
  if (!factory) {
    const LoadResult loaded = simulated->LoadDump(dump);
    if (loaded.taken == 0)
      return Result::Failure(options_.virtualDump + " holds nothing that a " + simulated->description().name +
                             " can be loaded with.");
    for (const std::string& note : loaded.notes) {
      session_.environment().err << "tonalith-cli: " << options_.virtualDump << ": " << note;
      if (loaded.notes.size() > 1) session_.environment().err << " (" << loaded.notes.size() - 1 << " more.)";
      session_.environment().err << "\n";
      break;
    }
  }
  if (!options_.fault.empty()) {
    const auto plan = FaultPlan::Parse(options_.fault, &problem);
    if (!plan) return Result::Failure(problem);
    simulated->SetFaults(*plan);
  }
  const int base = simulated->description().deviceBase;
  int device = -1;
  if (options_.device >= 0 && instrument) {
    device = KeptDevice(*instrument);
    if (Result fits = CheckDeviceId(*instrument, device); !fits.ok()) return fits;
  }
  if (device < 0 && instrument) device = DeviceOf(dump, instrument);
  if (device < 0 && instrument) device = base + simulated->device();
  if (device >= 0 && instrument) {
    instrument->SetSysExChannel(device);
    device = instrument->sysExChannel;
  }
  if (device >= base) simulated->SetDevice(device - base);
  std::vector<Reply> tried;
  if (!options_.press.empty() && !SimulatedInstrument(simulated->description()).Press(options_.press, &tried, &problem))
    return Result::Failure(problem);
  state_.emplace(*simulated);
  place_ = rig_.PlugInstrument(std::move(simulated));
  return Result::Success();
}

// The device number a dump was made with; -1 when it does not say.
int TransferCommand::DeviceOf(const std::vector<std::uint8_t>& dump, const ZKDrvList* instrument) {
  Recognition found;
  if (dump.empty() || !session_.recognizer().Recognize(dump, &found).ok()) return -1;
  for (const RecognizedPiece& piece : found.pieces)
    if (piece.instrument == instrument->name && piece.data->synth->hasSysExChannel)
      return piece.data->synth->sysExChannel;
  return -1;
}

Result TransferCommand::PlugTalk() {
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadCliFile(session_.environment(), options_.conversation, &bytes); !read.ok()) return read;
  std::string problem;
  auto talk = Conversation::Parse(std::string(bytes.begin(), bytes.end()), &problem);
  if (!talk) return Result::Failure(options_.conversation + ": " + problem);
  place_ = rig_.PlugConversation(std::move(*talk));
  return Result::Success();
}

int TransferCommand::KeptDevice(const ZKDrvList& instrument) const {
  return KeptDeviceId(DeviceIdSynth(instrument), static_cast<int>(options_.device));
}

Result TransferCommand::SetChannels(ZKDrvList* instrument) {
  if (options_.device >= 0) {
    const int device = KeptDevice(*instrument);
    if (Result fits = CheckDeviceId(*instrument, device); !fits.ok()) return fits;
    instrument->SetSysExChannel(device);
  }
  if (options_.channel > 0) instrument->SetMidiChannel(static_cast<int>(options_.channel) - 1);
  return Result::Success();
}

// The port the user named, else the one the studio remembers, else the only one.
Result TransferCommand::ChoosePort(MidiDirection direction, const std::string& wanted, const std::string& remembered,
                                   std::string* name) {
  const bool input = direction == MidiDirection::Input;
  const std::string kind = input ? "MIDI IN port" : "MIDI OUT port";
  const auto names = rig_.PortNames(direction);
  if (names.empty()) {
    std::string why;
    for (const auto& [system, state] : rig_.midi().BackendStates())
      if (!state.ok()) why += " " + system + ": " + state.text;
    return Result::Failure("There is no " + kind + "." + why);
  }
  std::size_t chosen = 0;
  if (!wanted.empty()) {
    Result result = ChooseByName(names, wanted, kind, &chosen);
    if (result.ok()) *name = names[chosen];
    return result;
  }
  const auto known = std::find(names.begin(), names.end(), remembered);
  if (known != names.end() || names.size() == 1) {
    *name = known != names.end() ? *known : names.front();
    return Result::Success();
  }
  std::string list;
  for (const std::string& entry : names) list += (list.empty() ? "" : ", ") + entry;
  return Result::Failure("Which " + kind + "? Say " + (input ? "--in" : "--out") + " NAME; there is: " + list + ".");
}

Result TransferCommand::OpenPorts(const ZKDrvList* instrument, bool needsInput) {
  std::string in, out;
  if (options_.isVirtual || options_.isConversation) {
    in = out = rig_.cables().PortName(place_);
  } else {
    Result result = ChoosePort(MidiDirection::Output, options_.out, instrument ? instrument->outPortName : "", &out);
    // A transmission listens only when there is something to listen to (acknowledgements).
    const std::string remembered = instrument ? instrument->inPortName : "";
    if (result.ok()) {
      const Result input = ChoosePort(MidiDirection::Input, options_.in, remembered, &in);
      if (!input.ok() && (needsInput || !options_.in.empty())) result = input;
    }
    if (!result.ok()) return result;
  }
  return rig_.OpenPorts(in, out);
}

Result ApplyPatches(const TransferOptions& options, DataFile* data, std::vector<std::uint8_t>* mask) {
  if (options.patches.empty()) return Result::Success();
  Synth& synth = *data->synth;
  if (PatchAddressable(synth)) {
    mask->assign(synth.numVoices, 0);
    for (const std::int64_t patch : options.patches) {
      if (patch >= static_cast<std::int64_t>(mask->size()))
        return Result::Failure("--patch " + std::to_string(patch) + ": the " + DataTitle(*data) + " has patches 0 to " +
                               std::to_string(mask->size() - 1) + ".");
      (*mask)[static_cast<std::size_t>(patch)] = 1;
    }
    data->transferMask = mask->data();
    data->transferMaskSize = mask->size();
    return Result::Success();
  }
  if (synth.isBank || options.patches.size() > 1)
    return Result::Failure("The " + DataTitle(*data) +
                           " is sent and received as a whole: --patch has no meaning here.");
  const std::int64_t patch = options.patches.front();
  if (patch < PatchMin(synth) || patch > PatchMax(synth))
    return Result::Failure("--patch " + std::to_string(patch) + ": the patch numbers of the " + DataTitle(*data) +
                           " go from " + std::to_string(PatchMin(synth)) + " to " + std::to_string(PatchMax(synth)) +
                           ".");
  synth.patchNumber = static_cast<std::uint16_t>(patch);
  return Result::Success();
}

void DropMask(DataFile* data) {
  data->transferMask = nullptr;
  data->transferMaskSize = 0;
}

}  // namespace tonalith
