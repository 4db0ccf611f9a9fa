#include "cli/commands_receive.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "cli/transfer_command.h"
#include "platform/atomic_file.h"
#include "platform/terminal_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

bool IsThisData(Session& session, const std::vector<std::uint8_t>& sysex, const DataFile& data) {
  Recognition found;
  if (sysex.empty() || !session.recognizer().Recognize(sysex, &found).ok()) return false;
  if (found.pieces.size() != 1 || found.unknownMessages != 0) return false;
  const RecognizedPiece& piece = found.pieces.front();
  const std::span<const std::uint8_t> a = BodySpan(*piece.data), b = BodySpan(data);
  return piece.driverId == data.synth->driverId && std::equal(a.begin(), a.end(), b.begin(), b.end());
}

// The file form of what was received: the data as it is sent, without the short messages around it (a bank is selected,
// for example); or else the messages that came.
Result RawSysEx(Session& session, const std::vector<std::uint8_t>& received, DataFile* data,
                std::vector<std::uint8_t>* bytes) {
  constexpr std::size_t kShortMessage = 16;
  const DataFilePtr copy(DupForUser(data));
  std::vector<RenderedMessage> messages;
  const Result result = RenderData(session, copy ? copy.get() : data, &messages);
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

// Data that was changed on the way, as far as its checksums tell.
bool WasDamaged(Session& session, const std::vector<std::uint8_t>& received, const DataFile& data) {
  const ChecksumVerdict verdict = session.recognizer().Verify(data);
  if (verdict != ChecksumVerdict::kNone) return verdict == ChecksumVerdict::kBad;
  // Checksums that are not kept with the data were in the messages.
  Recognition found;
  if (received.empty() || !session.recognizer().Recognize(received, &found).ok()) return false;
  return std::any_of(found.pieces.begin(), found.pieces.end(), [](const RecognizedPiece& piece) {
    return piece.badMessages != 0 || piece.checksum == ChecksumVerdict::kBad;
  });
}

Result WriteReceived(Session& session, const std::string& path, const std::vector<std::uint8_t>& received,
                     DataFilePtr data) {
  if (path != "-" && !AsciiEndsWithNoCase(path, ".syx")) return ZKBankDoc(std::move(data)).Save(path);
  std::vector<std::uint8_t> bytes;
  if (Result result = RawSysEx(session, received, data.get(), &bytes); !result.ok()) return result;
  if (path != "-") return WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
  TerminalText out = session.environment().out;
  out.Bytes(bytes).Flush();
  return out.Takes() ? Result::Success() : Result::Failure("Standard output takes no data.");
}

Result Receive(Session& session, const std::vector<std::string>& words, const TransferOptions& options) {
  ZKDrvList* instrument = nullptr;
  ZKDrvList* driver = nullptr;
  Result result = session.FindInstrument(words[0], &instrument);
  if (result.ok()) result = session.FindType(instrument, words[1], &driver);
  if (!result.ok()) return result;
  TransferCommand command(session, options);
  result = command.Prepare(instrument, true, driver);
  if (!result.ok()) return result;
  DataFilePtr data = session.studio().GetNewDataFile(driver);
  if (!data) return Result::Failure("There is not enough memory.");
  command.rig().RoutePorts(data.get());
  std::vector<std::uint8_t> mask;
  result = ApplyPatches(options, data.get(), &mask);
  if (result.ok()) result = command.Run(TransferOperation::kReceive, data.get());
  DropMask(data.get());
  const Result end = command.Finish(TransferOperation::kReceive);
  if (result.ok() && !options.anyChecksum && WasDamaged(session, command.rig().Received(), *data)) {
    result = Result::Failure("The " + DataTitle(*data) +
                             " came with a wrong checksum: bytes were changed on the way. "
                             "It was not kept; --any-checksum keeps it all the same.");
  }
  result = command.Outcome(result, end);
  return result.ok() ? WriteReceived(session, words[2], command.rig().Received(), std::move(data)) : result;
}

}  // namespace

std::string ReceiveDetails() {
  return std::string(
             "INSTRUMENT and TYPE are names or parts of them, without regard to case; \"module list\" names them.\n"
             "OUT ending in .syx is written as raw SysEx, anything else as a data file; - is raw SysEx on standard\n"
             "output.  When the data does not come whole, OUT is left as it was.\n\n") +
         kTransferOptions +
         "receiving:\n"
         "  --any-checksum          keeps data whose checksum is wrong\n"
         "\n  tonalith-cli receive dx7 \"voice bank\" bank.dat --in UM-ONE --out UM-ONE\n"
         "  tonalith-cli receive dx7 \"voice bank\" bank.syx --virtual factory\n";
}

std::string ReceiveForms() {
  return "receive INSTRUMENT TYPE OUT [OPTIONS]  gets data from an instrument into a file\n";
}

int RunReceive(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, TransferOptionNames(), {"any-checksum"});
  TransferOptions options;
  Result result = ReadOptions(arguments, &options);
  if (result.ok() && arguments.words().size() != 3)
    return CliFailure(environment.err, "receive", "an instrument, a data type and a file are needed:", ReceiveForms());
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    result = Receive(session, arguments.words(), options);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "receive", result.text);
}

}  // namespace tonalith
