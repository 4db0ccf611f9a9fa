#include "cli/commands_demo.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "cli/arguments.h"
#include "cli/transfer_rig.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/terminal_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kDemoInstrument[] = "Yamaha DX7";
constexpr char kDemoKey[] = "yamaha-dx7";
constexpr char kDemoType[] = "Voice Bank";
constexpr int kDemoSlot = 4;
constexpr char kDemoName[] = "TONALITH";

// The job, step by step; every step says what it did and gives a failure when it did not work.
class Demo {
 public:
  explicit Demo(Session& session)
      : session_(session), out_(session.environment().out), rig_(session, TransferRig::Kind::Virtual) {}

  Result Run() {
    for (const auto step : {&Demo::ShowStudio, &Demo::PlugIn, &Demo::GetBank, &Demo::RenameAndSend, &Demo::SaveAndRead,
                            &Demo::GetAgain, &Demo::CancelInTheMiddle, &Demo::PullTheCable}) {
      if (Result result = (this->*step)(); !result.ok()) return result;
      out_.Flush();
    }
    out_ << "\nEverything worked.\n";
    return Result::Success();
  }

 private:
  Result ShowStudio() {
    out_ << "The studio:\n";
    for (const auto& instrument : session_.studio().instruments()) {
      out_ << "  " << instrument->DisplayKey() << ": ";
      OwnText separator = "";
      for (const auto& driver : instrument->drivers)
        out_ << std::exchange(separator, OwnText(", ")) << Latin1ToUtf8(driver->TypeName());
      out_ << "\n";
    }
    Result result = session_.FindInstrument(kDemoInstrument, &instrument_);
    return result.ok() ? session_.FindType(instrument_, kDemoType, &driver_) : result;
  }

  // The simulated instrument remembers what an earlier run sent to it.
  Result PlugIn() {
    std::string problem;
    auto simulated = SimulatedInstrument::Create(kDemoKey, &problem);
    if (!simulated) return Result::Failure(problem);
    memoryFile_ = JoinPath(JoinPath(session_.paths().MainGetDataPath(), "Simulated"),
                           FixInvalidFilenameCharacters(simulated->description().portName) + ".syx");
    std::vector<std::uint8_t> memory;
    if (FileExists(memoryFile_)) {
      if (Result read = ReadWholeFile(memoryFile_, memory); !read.ok()) return read;
      simulated->LoadDump(memory);
    }
    place_ = rig_.PlugInstrument(std::move(simulated));
    const std::string port = rig_.cables().PortName(place_);
    if (Result opened = rig_.OpenPorts(port, port); !opened.ok()) return opened;
    rig_.RoutePorts(instrument_);
    out_ << "\nThe " << kDemoInstrument << " is simulated on a virtual cable, the MIDI ports \"" << port << "\".\n";
    return Result::Success();
  }

  DataFilePtr NewBank() {
    DataFilePtr data = session_.studio().GetNewDataFile(driver_);
    if (data) rig_.RoutePorts(data.get());
    return data;
  }

  static std::vector<std::string> Lines(const ZKBankDoc& bank) {
    std::vector<std::string> lines;
    for (int i = 0; i < bank.PatchCount(); ++i)
      lines.push_back(Printf("%4s  ", bank.NumberText(i).c_str()) + Latin1ToUtf8(bank.GetPatchName(i)));
    return lines;
  }

  void PrintList(const ZKBankDoc& bank) {
    for (const std::string& line : Lines(bank)) out_ << line << "\n";
  }

  Result GetBank() {
    DataFilePtr data = NewBank();
    if (!data) return Result::Failure("There is not enough memory.");
    bank_ = std::make_unique<ZKBankDoc>(std::move(data));
    out_ << "Getting the " << Latin1ToUtf8(bank_->Description()) << "...\n";
    const std::int64_t start = rig_.clock().NowUs();
    if (Result result = rig_.Run(TransferOperation::kReceive, bank_->dataFile()); !result.ok()) return result;
    out_ << Printf("Got %u bytes; on a MIDI cable that takes %.1f seconds.", bank_->synth().fileSize,
                   static_cast<double>(rig_.clock().NowUs() - start) / 1e6)
         << "\n\nThe patches before:\n";
    PrintList(*bank_);
    return Result::Success();
  }

  Result RenameAndSend() {
    const std::string before = bank_->GetPatchName(kDemoSlot);
    // Another name at every run, so that each shows what the one before left in the instrument.
    const char last = AsciiStartsWithNoCase(before, kDemoName) && !before.empty() ? before.back() : '0';
    name_ = Printf("%s %c", kDemoName, last >= '1' && last <= '8' ? last + 1 : '1');
    if (Result result = bank_->Rename(kDemoSlot, name_); !result.ok()) return result;
    out_ << "\nPatch " << bank_->NumberText(kDemoSlot) << " is renamed from \"" << Latin1ToUtf8(before) << "\" to \""
         << name_ << "\".\n";
    if (Result result = rig_.Run(TransferOperation::kTransmit, bank_->dataFile()); !result.ok()) return result;
    out_ << "The bank is sent to the instrument.\n";
    std::vector<std::uint8_t> memory;
    std::string display;
    rig_.cables().With(place_, [&](SimulatedInstrument& instrument) {
      memory = instrument.Dump();
      display = instrument.display();
    });
    if (!display.empty()) out_ << "Its display says: " << display << "\n";
    Result result = MakeFolders(FolderOf(memoryFile_));
    return result.ok() ? WriteFileAtomically(memoryFile_, std::span<const std::uint8_t>(memory)) : result;
  }

  Result SaveAndRead() {
    const std::string folder = JoinPath(session_.paths().MainGetDataPath(), kDemoInstrument);
    const std::string path = JoinPath(folder, std::string("Demo ") + kDemoType + ".DAT");
    Result result = MakeFolders(folder);
    if (result.ok()) result = bank_->Save(path);
    if (!result.ok()) return result;
    out_ << "Saved as " << path << ".\n";
    DataFilePtr read;
    if (result = ZKBankDoc::Load(path, &read); !result.ok()) return result;
    const ZKBankDoc again(std::move(read));
    if (Lines(again) != Lines(*bank_)) return Result::Failure("The file does not hold the names that were saved.");
    out_ << "The file is read again: " << again.PatchCount() << " patches with the same names.\n";
    return Result::Success();
  }

  Result GetAgain() {
    DataFilePtr data = NewBank();
    if (!data) return Result::Failure("There is not enough memory.");
    auto again = std::make_unique<ZKBankDoc>(std::move(data));
    if (Result result = rig_.Run(TransferOperation::kReceive, again->dataFile()); !result.ok()) return result;
    out_ << "\nThe patches after, got again from the instrument:\n";
    PrintList(*again);
    if (again->GetPatchName(kDemoSlot) != name_)
      return Result::Failure("The renamed patch did not come back: it is \"" +
                             Latin1ToUtf8(again->GetPatchName(kDemoSlot)) + "\".");
    if (Lines(*again) != Lines(*bank_) || !SameBodies(*again, *bank_))
      return Result::Failure("The bank that came back is not the bank that was sent.");
    out_ << "\nThe renamed patch came back: " << again->NumberText(kDemoSlot) << " \"" << name_ << "\".\n";
    bank_ = std::move(again);
    return Result::Success();
  }

  static bool SameBodies(const ZKBankDoc& a, const ZKBankDoc& b) {
    const auto x = BodySpan(*a.dataFile()), y = BodySpan(*b.dataFile());
    return std::equal(x.begin(), x.end(), y.begin(), y.end());
  }

  // A receive into the bank that must fail and leave it as it was.
  Result MustFail(const char* what, const TransferRig::Watcher& watcher) {
    const auto before = Lines(*bank_);
    const std::vector<std::uint8_t> body(BodySpan(*bank_->dataFile()).begin(), BodySpan(*bank_->dataFile()).end());
    bank_->BeginReceive();
    const Result result = rig_.Run(TransferOperation::kReceive, bank_->dataFile(), watcher);
    const bool changed = bank_->EndReceive();
    if (result.ok()) return Result::Failure(std::string(what) + ": the receive should have failed.");
    const auto now = BodySpan(*bank_->dataFile());
    if (changed || Lines(*bank_) != before || !std::equal(now.begin(), now.end(), body.begin(), body.end()))
      return Result::Failure(std::string(what) + ": the data was changed by a receive that failed.");
    out_ << std::string_view(what) << ": " << result.text << "\n  The bank is as it was: 32 patches, "
         << bank_->NumberText(kDemoSlot) << " \"" << Latin1ToUtf8(bank_->GetPatchName(kDemoSlot)) << "\".\n";
    return Result::Success();
  }

  Result CancelInTheMiddle() {
    out_ << "\n";
    std::int64_t at = 0;
    Result result = MustFail("Cancel in the middle of a Get", [&](Transfer& transfer) {
      const std::int64_t received = transfer.WindowState().received;
      if (at > 0 || received < 1000) return;
      at = received;
      transfer.Press(TransferState::Cancel);
    });
    if (result.ok() && at == 0) return Result::Failure("The receive was over before it could be cancelled.");
    // The rest of that dump leaves the cable.
    rig_.clock().SleepMs(2000);
    return result;
  }

  Result PullTheCable() {
    bool pulled = false;
    return MustFail("The cable is pulled in the middle of a Get", [&](Transfer& transfer) {
      if (pulled || transfer.WindowState().received < 1000) return;
      pulled = true;
      rig_.cables().Unplug(place_);
    });
  }

  Session& session_;
  TerminalText out_;
  TransferRig rig_;
  std::size_t place_ = 0;
  std::string memoryFile_;
  ZKDrvList* instrument_ = nullptr;
  ZKDrvList* driver_ = nullptr;
  std::unique_ptr<ZKBankDoc> bank_;
  std::string name_;
};

}  // namespace

std::string DemoForms() {
  return "demo  the whole job with a simulated instrument\n";
}

std::string DemoDetails() {
  return "Gets a bank from a simulated Yamaha DX7, lists it, renames a patch, sends the bank, saves it, reads the "
         "file,\n"
         "gets the bank again; then shows a cancelled Get and a pulled cable.  What the instrument was sent is kept "
         "in\n"
         "\"Simulated\" in the data folder, so a second run finds it.\n\n"
         "  tonalith-cli --config-root /tmp/try demo\n";
}

int RunDemo(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {});
  Result result = arguments.state();
  if (result.ok() && !arguments.words().empty()) result = Result::Failure("no arguments are needed.");
  if (result.ok()) {
    Session session(environment);
    session.LoadStudio();
    result = Demo(session).Run();
  }
  return result.ok() ? 0 : CliFailure(environment.err, "demo", result.text);
}

}  // namespace tonalith
