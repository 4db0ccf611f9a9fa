#include "cli/commands_patch.h"

#include <filesystem>
#include <memory>
#include <utility>

#include "bank/bank_document.h"
#include "cli/bank_files.h"
#include "cli/session.h"
#include "platform/text.h"
#include "store/patch_exchange.h"

namespace tonalith {

namespace {

std::filesystem::path FolderOf(Session& session, const ZKBankDoc& document) {
  const ZKDrvList* driver = session.studio().DriverOf(document.dataFile());
  return driver ? session.studio().facts().ModuleFolder(driver) : std::filesystem::path();
}

Result SlotNumber(const std::string& word, int* slot) {
  const auto number = ParseInteger(word);
  if (!number || *number < 0 || *number > 65535)
    return Result::Failure("SLOT is a number from 0, not \"" + word + "\".");
  *slot = static_cast<int>(*number);
  return Result::Success();
}

void Note(Session& session, const Result& result) {
  if (!result.text.empty()) session.environment().err << "Note: " << result.text << "\n";
}

Result Take(Session& session, const std::vector<std::string>& words) {
  int slot = 0;
  std::unique_ptr<ZKBankDoc> bank;
  if (Result result = SlotNumber(words[1], &slot); !result.ok()) return result;
  if (Result result = OpenBankFile(session, words[0], &bank); !result.ok()) return result;
  if (Result result = CheckBankOut(words[0], words[2]); !result.ok()) return result;
  if (std::string reason = bank->ReadOnlyReason(); !reason.empty()) return Result::Failure(std::move(reason));
  DataFilePtr patch;
  const auto newData = [&session](int driverId) { return session.studio().GetNewDataFile(driverId); };
  const Result taken = CreatePatch(*bank->dataFile(), slot, newData, FolderOf(session, *bank), &patch);
  if (!taken.ok()) return taken;
  Note(session, taken);
  ZKBankDoc document(std::move(patch));
  if (Result result = WriteBankFile(session, &document, words[2], true); !result.ok()) return result;
  session.environment().out << Latin1ToUtf8(document.Description()) << ": " << Latin1ToUtf8(document.GetPatchName(0))
                            << "\n";
  return Result::Success();
}

Result Put(Session& session, const std::vector<std::string>& words) {
  int slot = 0;
  std::unique_ptr<ZKBankDoc> bank, patch;
  if (Result result = SlotNumber(words[1], &slot); !result.ok()) return result;
  if (Result result = OpenBankFile(session, words[0], &bank); !result.ok()) return result;
  if (Result result = OpenBankFile(session, words[2], &patch); !result.ok()) return result;
  for (const std::string& read : {words[0], words[2]})
    if (Result result = CheckBankOut(read, words[3]); !result.ok()) return result;
  int patches = 0;
  if (Result room = bank->FindRoom({slot}, &patches); !room.ok()) return room;
  const std::string status = "Write Patch";
  Result put;
  const Result changed = bank->ChangeSlots(
      status, status,
      [&](BankSlots&) {
        put = PutPatch(*patch->dataFile(), bank->dataFile(), slot, FolderOf(session, *bank));
        return put;
      },
      patches);
  if (!changed.ok()) return changed;
  Note(session, put);
  if (Result result = WriteBankFile(session, bank.get(), words[3], true); !result.ok()) return result;
  session.environment().out << status << "\n";
  return Result::Success();
}

}  // namespace

std::string PatchForms() {
  return "patch take BANK SLOT OUT       a patch of a bank as a patch of its own\n"
         "patch put BANK SLOT PATCH OUT  a patch into a slot of a bank; the result is OUT\n";
}

std::string PatchDetails() {
  return "Files are read and written as \"bank edit\" does; BANK and PATCH stay as they are.  SLOT counts from 0; in "
         "a\n"
         "bank that holds as many patches as there are, the slot behind the last one adds the patch.\n"
         "Where bank and patch are laid out differently they are converted, by what the program knows of the two data\n"
         "types or by a conversion in the folder of the module; a pair that has none is refused by name.  A note says\n"
         "how many values became the nearest that the other layout holds.  Name, texts and keywords go along.\n\n"
         "  tonalith-cli patch take bank.dat 4 voice.dat\n"
         "  tonalith-cli patch put bank.dat 0 voice.dat changed.dat\n";
}

int RunPatch(CliEnvironment& environment, const std::vector<std::string>& args) {
  const bool takes = args.size() == 4 && args[0] == "take";
  const bool puts = args.size() == 5 && args[0] == "put";
  if (!takes && !puts) return CliFailure(environment.err, "patch", "use it like this:", PatchForms());
  Session session(environment);
  session.LoadStudio();
  const std::vector<std::string> words(args.begin() + 1, args.end());
  const Result result = takes ? Take(session, words) : Put(session, words);
  return result.ok() ? 0 : CliFailure(environment.err, "patch", result.text);
}

}  // namespace tonalith
