#include "cli/commands_transfer.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "bank/bank_document.h"
#include "cli/input_files.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "services/careful_send.h"
#include "services/keep_before_send.h"
#include "studio/type_check.h"

namespace tonalith {

namespace {

// The pieces of a file that are to be sent, ready for their instrument.
Result PiecesToSend(Session& session, const std::string& path, const std::string& type,
                    std::vector<DataFilePtr>* pieces) {
  Recognition found;
  bool isShort = false;
  Result result = RecognizeFile(session, path, &found, &isShort);
  if (isShort) return Result::Failure(kShortIsNotSent);
  if (!result.ok()) {
    // A data file knows how it is sent even when its module is not installed.
    DataFilePtr data;
    if (path == "-" || !ZKBankDoc::Load(path, &data).ok()) return result;
    pieces->push_back(std::move(data));
    return Result::Success();
  }
  if (found.unknownMessages)
    session.environment().err << "tonalith-cli: " << found.unknownMessages
                              << " SysEx messages were not recognised and are not sent.\n";
  for (RecognizedPiece& piece : found.pieces)
    if (type.empty() || AsciiEqualNoCase(piece.dataType, type)) pieces->push_back(std::move(piece.data));
  if (pieces->empty()) return Result::Failure(path + " holds no data of type \"" + type + "\".");
  return Result::Success();
}

// "3,5-7": one value a patch.
Result MaskOfSlots(const std::string& text, const DataFile& data, std::vector<std::uint8_t>* mask) {
  const Synth& synth = *data.synth;
  const int count = synth.numVoices;
  if (!PatchAddressable(synth))
    return Result::Failure("The " + DataTitle(data) + " is sent as a whole: --slots has no meaning here.");
  mask->assign(synth.numVoices, 0);
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t comma = rest.find(',');
    const std::string_view part = rest.substr(0, comma);
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    const std::size_t dash = part.find('-');
    const auto first = ParseInteger(std::string(part.substr(0, dash)));
    const auto last = dash == std::string_view::npos ? first : ParseInteger(std::string(part.substr(dash + 1)));
    if (!first || !last || *first < 0 || *last < *first || *last >= count)
      return Result::Failure("--slots takes numbers and runs of 0 to " + std::to_string(count - 1) +
                             " like 3,5-7, not \"" + text + "\".");
    std::fill(mask->begin() + static_cast<std::ptrdiff_t>(*first),
              mask->begin() + static_cast<std::ptrdiff_t>(*last) + 1, std::uint8_t{1});
  }
  return Result::Success();
}

// The patches of a mask that hold nothing are not sent.
Result CheckMask(const DataFile& data, const std::vector<std::uint8_t>& mask) {
  for (std::size_t i = 0; i < mask.size(); ++i)
    if (mask[i] && !MapBit(data.emptyMap, data.emptyMapSize, static_cast<std::uint32_t>(i))) return Result::Success();
  return mask.empty() ? Result::Success() : Result::Failure("None of the slots that were named holds anything.");
}

Result SendOnePiece(Session& session, TransferCommand& command, const TransferOptions& options,
                    const SendWishes& wishes, DataFile* piece) {
  CarefulSend careful;
  Result result = PrepareToSend(session, command, wishes, piece, &careful);
  if (!result.ok()) return result;
  result = wishes.slots.empty() ? ApplyPatches(options, piece, &careful.patches)
                                : MaskOfSlots(wishes.slots, *piece, &careful.patches);
  DropMask(piece);
  if (result.ok()) result = CheckMask(*piece, careful.patches);
  if (!result.ok()) return result;
  InstrumentHistory history = HistoryOf(session);
  auto report = std::make_shared<CarefulSendReport>();
  result = command.Run(MakeCarefulSend(piece, careful, history, report));
  const std::string kept =
      report->kept.number ? "number " + std::to_string(report->kept.number) + " of the history" : "";
  if (!result.ok()) return result;
  session.environment().out << DataTitle(*piece) << (careful.verify ? OwnText(": sent, verified") : OwnText(": sent"));
  if (!kept.empty()) session.environment().out << ", what was there is " << kept;
  session.environment().out << "\n";
  return result;
}

Result SendFile(Session& session, const std::string& path, const TransferOptions& options, const SendWishes& wishes) {
  std::vector<DataFilePtr> pieces;
  Result result = PiecesToSend(session, path, options.type, &pieces);
  if (!result.ok()) return result;
  if (!wishes.slots.empty() && pieces.size() > 1)
    return Result::Failure(path + " holds several pieces of data: --slots needs one; choose with --type.");
  return SendPieces(session, path, pieces, options, wishes);
}

}  // namespace

InstrumentHistory HistoryOf(Session& session) {
  return InstrumentHistory([&session] { return HistoryFolder(session.paths().MainGetApplicationSupportPath()); });
}

Result PrepareToSend(Session& session, TransferCommand& command, const SendWishes& wishes, DataFile* data,
                     CarefulSend* careful) {
  session.studio().DrvUpdateDataFile(data);
  session.NoteScripts(*data);
  command.rig().RoutePorts(data);
  const bool asked = CanBeAskedFor(*data);
  if ((wishes.keep || wishes.verify) && !asked)
    return Result::Failure("The " + DataTitle(*data) +
                           " cannot be asked for what it holds: --keep and --verify have no meaning here.");
  const std::string instrument = Latin1ToUtf8(TransferInstrumentName(*data));
  const bool always =
      KeepBeforeSendOf(session.paths().GetZKIni(), instrument) == KeepBeforeSend::kKeepAlways && wishes.obeysSetting;
  careful->keep = wishes.keep || (always && asked);
  careful->verify = wishes.verify;
  careful->check = CheckOfType(session.studio(), *data);
  return Result::Success();
}

Result SendPieces(Session& session, const std::string& path, const std::vector<DataFilePtr>& pieces,
                  const TransferOptions& options, const SendWishes& wishes) {
  ZKDrvList* driver = session.studio().GetDriverWithID(pieces.front()->synth->driverId);
  ZKDrvList* instrument = driver ? driver->instrument : nullptr;
  for (const DataFilePtr& piece : pieces) {
    const ZKDrvList* other = session.studio().GetDriverWithID(piece->synth->driverId);
    if ((other ? other->instrument : nullptr) != instrument)
      return Result::Failure(path + " holds data of several instruments; choose with --type, or send a file for each.");
  }
  TransferCommand command(session, options);
  Result result = command.Prepare(instrument, wishes.keep || wishes.verify, driver);
  if (!result.ok()) return result;
  int sent = 0;
  for (const DataFilePtr& piece : pieces) {
    result = SendOnePiece(session, command, options, wishes, piece.get());
    if (!result.ok()) break;
    ++sent;
  }
  if (!result.ok() && sent > 0)
    result.text += " (" + std::to_string(sent) + " of " + std::to_string(pieces.size()) + " pieces were sent.)";
  const Result end = command.Finish(TransferOperation::kTransmit);
  return command.Outcome(result, end);
}

Result ReadSendWishes(const CliArguments& arguments, const TransferOptions& options, SendWishes* wishes) {
  wishes->keep = arguments.Has("keep");
  wishes->verify = arguments.Has("verify");
  wishes->slots = arguments.Option("slots").value_or("");
  if (arguments.Has("slots") && wishes->slots.empty())
    return Result::Failure("--slots takes numbers and runs like 3,5-7.");
  if (arguments.Has("slots") && !options.patches.empty())
    return Result::Failure("--slots and --patch exclude each other.");
  return Result::Success();
}

const char kSendWishes[] =
    "  --verify                reads back what was sent and names what differs\n"
    "  --keep                  first gets what the instrument holds there and keeps it in the history\n"
    "                          (\"history\" brings it back); when that fails nothing is sent\n";

std::string SendDetails() {
  return std::string("FILE is a data file, raw SysEx or a Standard MIDI File whose data is recognised.\n\n") +
         kTransferOptions +
         "sending:\n"
         "  --type NAME             only the pieces of this data type\n"
         "  --slots LIST            only these slots of a bank that is sent patch by patch, from 0: 3,5-7\n" +
         kSendWishes +
         "\n  tonalith-cli send bank.dat --out UM-ONE\n"
         "  tonalith-cli send bank.syx --virtual factory --state after.syx\n";
}

std::string SendForms() {
  return "send FILE [OPTIONS]  sends the data of a file to its instrument\n";
}

int RunSend(CliEnvironment& environment, const std::vector<std::string>& args) {
  std::vector<std::string> names = TransferOptionNames();
  names.push_back("slots");
  const CliArguments arguments(args, names, {"keep", "verify"});
  TransferOptions options;
  SendWishes wishes;
  Result result = ReadOptions(arguments, &options);
  if (result.ok()) result = ReadSendWishes(arguments, options, &wishes);
  if (result.ok() && arguments.words().size() != 1)
    return CliFailure(environment.err, "send", "one file is needed:", SendForms());
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    result = SendFile(session, arguments.words()[0], options, wishes);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "send", result.text);
}

}  // namespace tonalith
