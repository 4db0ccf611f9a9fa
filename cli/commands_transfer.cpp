#include "cli/commands_transfer.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "bank/bank_document.h"
#include "cli/input_files.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "services/careful_send.h"
#include "services/keep_before_send.h"
#include "services/transfer_rest.h"
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

// What a user can do about a bank of which not all was sent.
std::string HowToGoOn(const DataFile& piece, const std::vector<std::uint8_t>& patches, const DeskResult& result,
                      const std::string& restPath) {
  TransferRest rest;
  NoteSend(piece, patches, result, &rest);
  if (rest.notSent.empty()) return {};
  if (restPath.empty()) return "--slots " + SlotsText(rest.notSent) + " sends the rest.";
  DataFilePtr copy(DupForUser(&piece));
  if (!copy) return {};
  ZKBankDoc document(std::move(copy));
  document.SendEnded(patches, result);
  if (const Result written = document.Save(restPath); !written.ok())
    return "What was not sent could not be kept: " + written.text;
  return "What was not sent is marked in " + restPath + "; send " + restPath + " --resume sends it.";
}

Result SendOnePiece(Session& session, TransferCommand& command, const TransferOptions& options,
                    const SendWishes& wishes, DataFile* piece) {
  CarefulSend careful;
  Result result = PrepareToSend(session, command, wishes, piece, &careful);
  if (!result.ok()) return result;
  careful.patches = wishes.patches;
  if (wishes.patches.empty())
    result = wishes.slots.empty() ? ApplyPatches(options, piece, &careful.patches)
                                  : MaskOfSlots(wishes.slots, *piece, &careful.patches);
  DropMask(piece);
  if (result.ok()) result = CheckMask(*piece, careful.patches);
  if (!result.ok()) return result;
  InstrumentHistory history = HistoryOf(session);
  auto report = std::make_shared<CarefulSendReport>();
  result = command.Run(MakeCarefulSend(piece, careful, history, report));
  const DeskResult& ended = command.rig().LastResult();
  const std::string more = wishes.ended ? wishes.ended(*piece, careful.patches, ended)
                                        : HowToGoOn(*piece, careful.patches, ended, wishes.rest);
  if (!result.ok() && !more.empty()) result.text += "  " + more;
  const std::string kept =
      report->kept.number ? "number " + std::to_string(report->kept.number) + " of the history" : "";
  if (!result.ok()) return result;
  session.environment().out << DataTitle(*piece) << (careful.verify ? OwnText(": sent, verified") : OwnText(": sent"));
  if (!kept.empty()) session.environment().out << ", what was there is " << kept;
  session.environment().out << "\n";
  return result;
}

// Sends what a file says was not sent, and keeps in it what is left.
Result SendRest(Session& session, const std::string& path, const TransferOptions& options, SendWishes wishes) {
  std::unique_ptr<ZKBankDoc> document;
  if (!ZKBankDoc::Open(path, &document).ok())
    return Result::Failure(path + " is no data file of a bank: it does not say what was not sent (--slots chooses).");
  TransferRest rest = document->rest();
  wishes.patches = PatchesToSend(*document->dataFile(), rest.notSent);
  if (rest.notSent.empty() || CountPatches(wishes.patches) == 0) {
    session.environment().err << "tonalith-cli send: " << path << ": nothing is left to be sent.\n";
    return Result::Success();
  }
  Result kept;
  wishes.ended = [&](const DataFile&, const std::vector<std::uint8_t>& patches, const DeskResult& result) {
    document->SendEnded(patches, result);
    kept = document->Save(path);
    return kept.ok() ? "--resume sends the rest." : std::string();
  };
  std::vector<DataFilePtr> pieces;
  pieces.emplace_back(DupForUser(document->dataFile()));
  if (!pieces.front()) return Result::Failure("There is not enough memory.");
  Result result = SendPieces(session, path, pieces, options, wishes);
  if (kept.ok()) return result;
  return Result::Failure(result.text + (result.ok() ? "" : "  ") + "What was sent could not be marked: " + kept.text);
}

Result SendFile(Session& session, const std::string& path, const TransferOptions& options, const SendWishes& wishes) {
  std::vector<DataFilePtr> pieces;
  Result result = PiecesToSend(session, path, options.type, &pieces);
  if (!result.ok()) return result;
  if (!wishes.slots.empty() && pieces.size() > 1)
    return Result::Failure(path + " holds several pieces of data: --slots needs one; choose with --type.");
  if (!wishes.rest.empty() && pieces.size() > 1)
    return Result::Failure(path + " holds several pieces of data: --rest needs one; choose with --type.");
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
    "  --slots LIST            only these slots of a bank that is sent patch by patch, from 0: 3,5-7\n"
    "  --verify                reads back what was sent and names what differs\n"
    "  --keep                  first gets what the instrument holds there and keeps it in the history\n"
    "                          (\"history\" brings it back); when that fails nothing is sent\n";

std::string SendDetails() {
  return std::string("FILE is a data file, raw SysEx or a Standard MIDI File whose data is recognised.\n\n") +
         kTransferOptions +
         "sending:\n"
         "  --type NAME             only the pieces of this data type\n"
         "  --rest OUT              when not all patches of a bank were sent: writes it to OUT, with those marked "
         "that\n"
         "                          were not\n"
         "  --resume                sends what FILE, a bank of this program, says was not sent, and marks it there\n" +
         kSendWishes +
         "\n  tonalith-cli send bank.dat --out UM-ONE\n"
         "  tonalith-cli send bank.syx --virtual factory --state after.syx\n";
}

std::string SendForms() {
  return "send FILE [OPTIONS]  sends the data of a file to its instrument\n";
}

int RunSend(CliEnvironment& environment, const std::vector<std::string>& args) {
  std::vector<std::string> names = TransferOptionNames();
  names.insert(names.end(), {"slots", "rest"});
  const CliArguments arguments(args, names, {"keep", "verify", "resume"});
  TransferOptions options;
  SendWishes wishes;
  Result result = ReadOptions(arguments, &options);
  if (result.ok()) result = ReadSendWishes(arguments, options, &wishes);
  if (result.ok() && arguments.words().size() != 1)
    return CliFailure(environment.err, "send", "one file is needed:", SendForms());
  const bool resume = arguments.Has("resume");
  wishes.rest = arguments.Option("rest").value_or("");
  if (result.ok() && arguments.Has("rest") && wishes.rest.empty()) result = Result::Failure("--rest takes a file.");
  if (result.ok() && resume &&
      (!wishes.slots.empty() || !options.patches.empty() || !options.type.empty() || !wishes.rest.empty()))
    result = Result::Failure("--resume and --slots, --patch, --type or --rest exclude each other.");
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    const std::string& path = arguments.words()[0];
    result = resume ? SendRest(session, path, options, wishes) : SendFile(session, path, options, wishes);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "send", result.text);
}

}  // namespace tonalith
