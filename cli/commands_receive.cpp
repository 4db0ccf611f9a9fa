#include "cli/commands_receive.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "bank/bank_document.h"
#include "cli/transfer_command.h"
#include "platform/atomic_file.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "script/received_check.h"
#include "script/started_at_panel.h"
#include "services/transfer_rest.h"

namespace tonalith {

namespace {

constexpr std::int64_t kForEverMs = std::int64_t{10} * 365 * 24 * 3600 * 1000;

bool IsThisData(Session& session, const std::vector<std::uint8_t>& sysex, const DataFile& data) {
  Recognition found;
  if (sysex.empty() || !session.recognizer().Recognize(sysex, &found).ok()) return false;
  if (found.pieces.size() != 1 || found.unknownMessages != 0) return false;
  const RecognizedPiece& piece = found.pieces.front();
  const std::span<const std::uint8_t> a = BodySpan(*piece.data), b = BodySpan(data);
  return piece.driverId == data.synth->driverId && std::equal(a.begin(), a.end(), b.begin(), b.end());
}

// The file form of what was received: as its module declares it, else the data as it is sent, without the short
// messages around it (a bank is selected, for example), else the messages that came.
Result RawSysEx(Session& session, const std::vector<std::uint8_t>& received, DataFile* data,
                std::vector<std::uint8_t>* bytes) {
  constexpr std::size_t kShortMessage = 16;
  const DataFilePtr copy(DupForUser(data));
  std::vector<RenderedMessage> messages;
  bool isDeclared = false;
  const Result result = RenderFile(session, copy ? copy.get() : data, false, &messages, &isDeclared);
  for (const std::size_t least : {kShortMessage, std::size_t{0}}) {
    bytes->clear();
    for (const RenderedMessage& message : messages)
      if (message.bytes.size() >= least) bytes->insert(bytes->end(), message.bytes.begin(), message.bytes.end());
    if (IsThisData(session, *bytes, *data)) return Result::Success();
  }
  if (!IsThisData(session, received, *data)) return result;
  *bytes = received;
  return Result::Success();
}

Result WriteReceived(Session& session, const std::string& path, const std::vector<std::uint8_t>& received,
                     DataFilePtr data, TransferRest rest) {
  if (path != "-" && !AsciiEndsWithNoCase(path, ".syx")) {
    ZKBankDoc document(std::move(data));
    document.SetRest(std::move(rest));
    return document.Save(path);
  }
  std::vector<std::uint8_t> bytes;
  if (Result result = RawSysEx(session, received, data.get(), &bytes); !result.ok()) return result;
  if (path != "-") return WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
  TerminalText out = session.environment().out;
  out.Bytes(bytes).Flush();
  return out.Takes() ? Result::Success() : Result::Failure("Standard output takes no data.");
}

// What only `receive` knows.
struct ReceiveWishes {
  GetOptions get;
  int attempts = -1;
  std::string resume;  // a file with what came before; empty: none
  bool wait = false;
};

// The patches of a bank that did not come yet (as its file says, else those that hold nothing), or came damaged; of
// other data all or nothing.
std::vector<std::uint8_t> MissingPatches(const DataFile& data, const TransferRest& rest) {
  const std::uint32_t voices = PatchAddressable(*data.synth) ? +data.synth->numVoices : 1;
  std::vector<std::uint8_t> missing(voices, 0);
  const auto missed = [&](std::uint32_t i) {
    if (rest.notReceived.empty()) return MapBit(data.emptyMap, data.emptyMapSize, i);
    return i < rest.notReceived.size() && rest.notReceived[i] != 0;
  };
  for (std::uint32_t i = 0; i < voices && voices > 1; ++i)
    missing[i] = missed(i) || MarkedDamaged(data, static_cast<int>(i));
  if (voices > 1) return missing;
  missing[0] = MarkedDamaged(data, -1) || (data.xtra && data.xtra->hasNoSysEx);
  for (std::uint32_t i = 0; i < data.synth->numVoices; ++i)
    if (MapBit(data.emptyMap, data.emptyMapSize, i)) missing[0] = 1;
  return missing;
}

// --resume: what came before, and what its file says of the rest.
Result LoadFormer(Session& session, const std::string& path, const ZKDrvList& driver, DataFilePtr* data,
                  TransferRest* rest) {
  Recognition found;
  if (Result result = RecognizeFile(session, path, &found); !result.ok()) return result;
  std::string others;
  for (RecognizedPiece& piece : found.pieces) {
    if (piece.driverId != driver.synth()->driverId) {
      if (others.empty()) others = piece.instrument + " " + piece.dataType;
    } else if (*data) {
      return Result::Failure(path + " holds several pieces of " + DataTitle(**data) + ": one is needed to go on with.");
    } else {
      *data = std::move(piece.data);
    }
  }
  if (!*data)
    return Result::Failure(path + " holds no " + driver.instrument->name + " " + driver.TypeName() +
                           (others.empty() ? "" : ", but a " + others) + ".");
  session.studio().DrvUpdateDataFile(data->get());
  std::unique_ptr<ZKBankDoc> document;
  if (ZKBankDoc::Open(path, &document).ok() && document->synth().driverId == (*data)->synth->driverId)
    *rest = document->rest();
  return Result::Success();
}

// What came of a bank takes the place of no whole file: that one is kept beside it.
Result WritePart(Session& session, const std::string& path, const ReceiveWishes& receive,
                 const std::vector<std::uint8_t>& received, DataFilePtr data, TransferRest rest,
                 std::string* sentence) {
  std::string kept;
  if (path != "-" && path != receive.resume && FileExists(path)) {
    if (Result result = KeepBeside(path, &kept); !result.ok()) return result;
  }
  if (Result result = WriteReceived(session, path, received, std::move(data), std::move(rest)); !result.ok())
    return result;
  if (path == "-") return Result::Success();
  *sentence += "  What came is in " + path + "; --resume " + path + " gets the rest.";
  if (!kept.empty()) *sentence += "  The former file is kept as " + kept + ".";
  return Result::Success();
}

// --resume: the data and the mask of what is missing.  `complete`: nothing is.
Result PrepareResume(Session& session, const ZKDrvList& driver, const TransferOptions& options, const std::string& path,
                     DataFilePtr* data, TransferRest* rest, std::vector<std::uint8_t>* mask, bool* complete) {
  if (!options.patches.empty()) return Result::Failure("--resume and --patch exclude each other.");
  if (Result result = LoadFormer(session, path, driver, data, rest); !result.ok()) return result;
  *mask = MissingPatches(**data, *rest);
  *complete = std::count(mask->begin(), mask->end(), 0) == static_cast<std::ptrdiff_t>(mask->size());
  return Result::Success();
}

// With the ports open and the channels set: the data that is to be filled.
Result PrepareData(Session& session, TransferCommand& command, ZKDrvList* driver, const TransferOptions& options,
                   DataFilePtr* data, std::vector<std::uint8_t>* mask) {
  const bool resumes = *data != nullptr;
  if (resumes) {
    session.studio().DrvUpdateDataFile(data->get());
    session.NoteScripts(**data);
  } else {
    *data = session.studio().GetNewDataFile(driver);
  }
  if (!*data) return Result::Failure("There is not enough memory.");
  command.rig().RoutePorts(data->get());
  if (!resumes) return ApplyPatches(options, data->get(), mask);
  if (mask->size() > 1) {
    (*data)->transferMask = mask->data();
    (*data)->transferMaskSize = mask->size();
  }
  return Result::Success();
}

Result Receive(Session& session, const std::vector<std::string>& words, const TransferOptions& options,
               const ReceiveWishes& receive) {
  ZKDrvList* instrument = nullptr;
  ZKDrvList* driver = nullptr;
  Result result = session.FindInstrument(words[0], &instrument);
  if (result.ok()) result = session.FindType(instrument, words[1], &driver);
  DataFilePtr data;
  TransferRest rest;
  std::vector<std::uint8_t> mask;
  bool complete = false;
  if (result.ok() && !receive.resume.empty())
    result = PrepareResume(session, *driver, options, receive.resume, &data, &rest, &mask, &complete);
  if (!result.ok()) return result;
  TerminalText err = session.environment().err;
  if (complete) {
    err << "tonalith-cli receive: " << receive.resume << ": nothing is missing.\n";
    return words[2] == receive.resume ? Result::Success() : WriteReceived(session, words[2], {}, std::move(data), rest);
  }
  TransferCommand command(session, options);
  result = command.Prepare(instrument, true, driver);
  if (result.ok()) result = PrepareData(session, command, driver, options, &data, &mask);
  const bool atPanel = result.ok() && StartedAtPanel(*data);
  if (result.ok() && receive.wait && !atPanel)
    result = Result::Failure("The " + DataTitle(*data) +
                             " is asked for; --wait is for dumps that are started on the instrument.");
  if (data && !result.ok()) DropMask(data.get());
  if (!result.ok()) return result;
  // Nobody is at the panel of a simulated instrument: what --press did not start does not come later.
  const bool forEver = receive.wait && options.timeout == 0 && !options.isVirtual && !options.isConversation;
  command.rig().SetPatience({receive.attempts, forEver ? kForEverMs : options.timeout});
  if (atPanel) err << kStartTheDump << "\n";
  result = command.Run(TransferOperation::kReceive, data.get(), receive.get);
  DropMask(data.get());
  const DeskResult& got = command.rig().LastResult();
  result = command.Outcome(result, command.Finish(TransferOperation::kReceive));
  const bool byPatch = mask.empty() || mask.size() > 1;
  if (byPatch) NoteGet(*data, mask, got, &rest);
  if (result.ok()) {
    if (!got.faults.empty() || got.patchesDone < got.patchesToDo)
      err << "tonalith-cli receive: " << got.sentence << "\n";
    return WriteReceived(session, words[2], command.rig().Received(), std::move(data), std::move(rest));
  }
  if (DataFilePtr came = command.rig().TakeInterrupted(); came && !got.ok && !got.changed) {
    data = std::move(came);
  } else if (got.ok || !got.changed) {
    return result;
  }
  const Result part =
      WritePart(session, words[2], receive, command.rig().Received(), std::move(data), std::move(rest), &result.text);
  if (!part.ok()) result.text += "  What came could not be kept: " + part.text;
  return result;
}

}  // namespace

std::string ReceiveDetails() {
  return std::string(
             "INSTRUMENT and TYPE are names or parts of them, without regard to case; \"module list\" names them.\n"
             "OUT ending in .syx is written as raw SysEx, anything else as a data file; - is raw SysEx on standard\n"
             "output.  When the data does not come whole, OUT is left as it was; what came of a bank is written, and "
             "the\n"
             "former OUT kept as OUT~.\n\n") +
         kTransferOptions +
         "receiving:\n"
         "  --any-checksum          keeps damaged data and marks it with the keyword \"Damaged\"\n"
         "  --resume FILE           gets what is missing or damaged in FILE, and keeps the rest of it\n"
         "  --twice                 reads data without checksums twice and compares; what differs is read once more\n"
         "  --attempts N            how often data that does not come whole is asked for again, 0 to 10 (else as in "
         "the\n"
         "                          preferences)\n"
         "  --wait                  for dumps that are started on the instrument: waits as long as --timeout says, "
         "else\n"
         "                          until it is interrupted; with --virtual it ends when nothing more comes\n"
         "\n  tonalith-cli receive dx7 \"voice bank\" bank.dat --in UM-ONE --out UM-ONE\n"
         "  tonalith-cli receive dx7 \"voice bank\" bank.syx --virtual factory\n";
}

std::string ReceiveForms() {
  return "receive INSTRUMENT TYPE OUT [OPTIONS]  gets data from an instrument into a file\n";
}

int RunReceive(CliEnvironment& environment, const std::vector<std::string>& args) {
  std::vector<std::string> names = TransferOptionNames();
  names.insert(names.end(), {"resume", "attempts"});
  const CliArguments arguments(args, names, {"any-checksum", "twice", "wait"});
  TransferOptions options;
  ReceiveWishes receive;
  Result result = ReadOptions(arguments, &options);
  receive.get.keepDamaged = arguments.Has("any-checksum");
  receive.get.twice = arguments.Has("twice");
  receive.wait = arguments.Has("wait");
  receive.resume = arguments.Option("resume").value_or("");
  std::int64_t attempts = -1;
  if (result.ok()) result = arguments.Number("attempts", 0, 10, -1, &attempts);
  receive.attempts = static_cast<int>(attempts);
  if (result.ok() && arguments.words().size() != 3)
    return CliFailure(environment.err, "receive", "an instrument, a data type and a file are needed:", ReceiveForms());
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    result = Receive(session, arguments.words(), options, receive);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "receive", result.text);
}

}  // namespace tonalith
