#include "cli/commands_transfer.h"

#include "bank/bank_document.h"
#include "cli/input_files.h"
#include "cli/transfer_command.h"
#include "platform/terminal_text.h"
#include "platform/text.h"

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

Result Send(Session& session, const std::string& path, const TransferOptions& options) {
  std::vector<DataFilePtr> pieces;
  Result result = PiecesToSend(session, path, options.type, &pieces);
  if (!result.ok()) return result;
  ZKDrvList* driver = session.studio().GetDriverWithID(pieces.front()->synth->driverId);
  ZKDrvList* instrument = driver ? driver->instrument : nullptr;
  for (const DataFilePtr& piece : pieces) {
    const ZKDrvList* other = session.studio().GetDriverWithID(piece->synth->driverId);
    if ((other ? other->instrument : nullptr) != instrument)
      return Result::Failure(path + " holds data of several instruments; choose with --type, or send a file for each.");
  }
  TransferCommand command(session, options);
  result = command.Prepare(instrument, false, driver);
  if (!result.ok()) return result;
  int sent = 0;
  for (const DataFilePtr& piece : pieces) {
    session.studio().DrvUpdateDataFile(piece.get());
    session.NoteScripts(*piece);
    command.rig().RoutePorts(piece.get());
    std::vector<std::uint8_t> mask;
    result = ApplyPatches(options, piece.get(), &mask);
    if (result.ok()) result = command.Run(TransferOperation::kTransmit, piece.get());
    DropMask(piece.get());
    if (!result.ok()) break;
    ++sent;
    session.environment().out << DataTitle(*piece) << ": sent\n";
  }
  if (!result.ok() && sent > 0)
    result.text += " (" + std::to_string(sent) + " of " + std::to_string(pieces.size()) + " pieces were sent.)";
  const Result end = command.Finish(TransferOperation::kTransmit);
  return command.Outcome(result, end);
}

}  // namespace

std::string SendDetails() {
  return std::string("FILE is a data file, raw SysEx or a Standard MIDI File whose data is recognised.\n\n") +
         kTransferOptions +
         "sending:\n"
         "  --type NAME             only the pieces of this data type\n"
         "\n  tonalith-cli send bank.dat --out UM-ONE\n"
         "  tonalith-cli send bank.syx --virtual factory --state after.syx\n";
}

std::string SendForms() {
  return "send FILE [OPTIONS]  sends the data of a file to its instrument\n";
}

int RunSend(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, TransferOptionNames());
  TransferOptions options;
  Result result = ReadOptions(arguments, &options);
  if (result.ok() && arguments.words().size() != 1)
    return CliFailure(environment.err, "send", "one file is needed:", SendForms());
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    result = Send(session, arguments.words()[0], options);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "send", result.text);
}

}  // namespace tonalith
