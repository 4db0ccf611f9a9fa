#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "data/container.h"
#include "data/standard_midi_file.h"
#include "midi/backends/virtual_backend.h"
#include "midi/port_system.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "script/compiler.h"
#include "script/interpreter.h"
#include "script/transfer_engine.h"
#include "services/command_line.h"
#include "services/hosts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/program_midi.h"
#include "services/registry.h"
#include "services/script_bridge.h"
#include "services/script_settings.h"
#include "services/settings.h"
#include "services/single_instance.h"
#include "services/start_stop.h"
#include "services/window_counters.h"
#include "services/window_places.h"
#include "services/zkbasics.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

class ProgramTest : public FilesTest {
 protected:
  ProgramTest() { ::setenv("TONALITH_RESOURCES", TONALITH_SOURCE_DIR "/resources", 1); }
  ~ProgramTest() override { ::unsetenv("TONALITH_RESOURCES"); }
};

// A program on the folder of the test, with its settings.
struct Started {
  explicit Started(const std::string& root) : program(Folders::Below(root), SystemClock(), prompts, dispatcher) {
    program.ConfigBasics();
    program.LoadConfig();
  }
  ScriptedPrompts prompts{{}};
  Dispatcher dispatcher;
  Program program;
};

// Records the order of everything the sequence asks for.
class Recorder final : public StartStopHost, public DocumentsHost, public StudioHost {
 public:
  bool InitialiseFramework() override { return Note("framework"); }
  void ZKEditInit() override { Note("edit init"); }
  std::unique_ptr<Program> AllocZKBasics(const CommandLine& line) override {
    Note("services");
    if (refuseServices) return nullptr;
    auto program = std::make_unique<Program>(line.MakeFolders(), SystemClock(), prompts, dispatcher);
    program->SetDocuments(this);
    program->SetStudio(this);
    return program;
  }
  void ZKMonInitialize() override { Note("monitor"); }
  bool CreateMainFrame(Program&) override { return Note("frame") && !refuseFrame; }
  void SetManuals(const std::vector<Manual>& list, bool menu) override {
    Note("manuals " + std::to_string(list.size()) + (menu ? " menu" : ""));
  }
  void RegisterFileTypes() override { Note("file types"); }
  void ShowMainFrame() override { Note("show"); }
  void ShowSplash(const std::string& picture, int) override { Note("splash " + picture); }
  void ZKEditOnFirstOpen() override { Note("first open"); }
  void LoadRecentFiles(int entries) override { Note("recent " + std::to_string(entries)); }
  void CloseMainWindow() override { Note("close window"); }
  void CleanUpModule(const char* name) override { Note(std::string("clean ") + name); }
  void CloseTimerAndSequencer() override { Note("sequencer"); }
  void ZKEditCleanup() override { Note("edit cleanup"); }
  void ExitFramework() override { Note("exit"); }
  bool DrvLoadSetup(int which) override { return Note("studio " + std::to_string(which)); }
  bool LoadWorkspace(const std::string& path) override { return Note("desktop " + path); }
  void OfferRecovery() override { Note("recovery"); }
  bool SaveWorkspace(const std::string& path) override {
    Note("save desktop");
    return WriteFileAtomically(path, "PVDT").ok();
  }
  bool OpenFile(const std::string& path, int) override { return Note("open " + path); }

  bool Note(const std::string& what) {
    notes.push_back(what);
    return true;
  }
  ScriptedPrompts prompts{{}};
  Dispatcher dispatcher;
  std::vector<std::string> notes;
  bool refuseServices = false;
  bool refuseFrame = false;
};

TEST_F(ProgramTest, CommandLines) {
  const auto line = CommandLine::Parse({"--debug", "a.PVS", "--config-root", "/r", "--simulated", "--", "--debug"});
  EXPECT_TRUE(line.debug && !line.extended && line.problem.empty());
  EXPECT_EQ(line.configRoot, "/r");
  ASSERT_EQ(line.files.size(), 2u);
  EXPECT_EQ(line.files[0], std::filesystem::current_path().string() + "/a.PVS");
  EXPECT_EQ(line.others, std::vector<std::string>{"--simulated"});
  EXPECT_EQ(CommandLine::Parse({"--config-root=/q", "--extended", "--no-printer", "--new-instance"}).configRoot, "/q");
  const char* const arguments[] = {"/bin/program", "--debug", "/b.PVS"};
  EXPECT_TRUE(CommandLine::Parse(3, arguments).debug);
  EXPECT_EQ(CommandLine::Parse(3, arguments).files, std::vector<std::string>{"/b.PVS"});
  EXPECT_TRUE(CommandLine::Parse(0, arguments).files.empty());
  EXPECT_NE(CommandLine::Parse({"--config-root"}).problem, "");
  EXPECT_NE(CommandLine::Parse({"--config-root="}).problem, "");
  constexpr std::string_view kOwn[] = {"--simulated"};
  auto own = CommandLine::Parse({"--simulated", "--debug", "--simulated", "--", "--simulate"});
  own.RefuseOthersThan(kOwn);
  EXPECT_EQ(own.problem, "");
  EXPECT_TRUE(own.Takes("--simulated"));
  EXPECT_FALSE(own.Takes("--simulated"));
  auto slip = CommandLine::Parse({"--simulated", "--simulate"});
  slip.RefuseOthersThan(kOwn);
  EXPECT_EQ(slip.problem, "there is no option --simulate. The option --help lists those there are.");
}

TEST_F(ProgramTest, StartsAndEndsInOrder) {
  Recorder host;
  {
    StartStop program(host, CommandLine::Parse({"--config-root", root_, "/x/one.PVS", "/x/two.syx"}));
    ASSERT_TRUE(program.InitInstance());
    const Paths& paths = program.program()->paths();
    for (const std::string& folder :
         {paths.MainGetPreferencesPath(), paths.MainGetApplicationSupportPath(), paths.MainGetInstrPath(),
          paths.MainGetDataPath() + "/Collections", paths.MainGetDataPath() + "/OSC"}) {
      EXPECT_TRUE(FolderExists(folder)) << folder;
      EXPECT_EQ(folder.compare(0, root_.size(), root_), 0) << folder;
    }
    EXPECT_TRUE(FileExists(paths.MainGetApplicationSupportPath() + "/ZKKeys.ini"));
    EXPECT_EQ(program.program()->registry().mainGetKey("Data Path(32)"), paths.MainGetDataPath());
    EXPECT_EQ(program.program()->out().GlobalMidiDelay(), 200u);
    for (const auto& [size, now] : {std::pair(70000, 65535), {1, 1}, {0, 1}, {-1, 1}})
      EXPECT_EQ(program.program()->MainGetSynCompileSize(size), now) << size;
    char small[6];
    program.program()->basics().MainGetApplicationName(small, sizeof small);
    EXPECT_STREQ(small, "Tonal");
    program.ExitInstance();
    EXPECT_EQ(GetPrivateProfileString("Preferences", "ExtendedMode", "-", Path("config/Corvane/Tonalith/v13/ZK.ini")),
              "0");
  }
  std::string notes;
  for (const std::string& note : host.notes) notes += note + ", ";
  EXPECT_EQ(notes,
            "framework, edit init, services, monitor, file types, frame, manuals 0, show, first open, recent 4, "
            "studio 0, recovery, open /x/one.PVS, open /x/two.syx, save desktop, close window, clean bank, "
            "clean studio, clean bitmap, clean set, clean library, clean monitor, clean view, sequencer, "
            "edit cleanup, exit, ");
  EXPECT_TRUE(host.prompts.Log().empty());
  host.notes.clear();
  StartStop again(host, CommandLine::Parse({"--config-root", root_}));
  ASSERT_TRUE(again.InitInstance());
  EXPECT_EQ(host.notes[host.notes.size() - 2], "desktop " + again.program()->paths().DefaultDesktopFile());
  again.program()->settings().MainAutoSaveLoadDesktop(0);
  host.notes.clear();
  again.ExitInstance();
  EXPECT_EQ(host.notes.front(), "close window") << "the desktop is only saved for who wants it";
}

TEST_F(ProgramTest, DebugModeShowsTheStepsAndRefusalsEndTheStart) {
  Recorder host;
  {
    StartStop program(host, CommandLine::Parse({"--config-root", root_, "--debug", "--extended"}));
    ASSERT_TRUE(program.InitInstance());
    const auto log = host.prompts.Log();
    EXPECT_NE(log.front().find("CZKApp::InitInstance Debug mode set from command line"), std::string::npos);
    EXPECT_NE(log.back().find("Out ZKApp::InitInstance()"), std::string::npos);
    EXPECT_NE(log.at(7).find("| Tonalith |"), std::string::npos) << log.at(7);
    program.ExitInstance();
    EXPECT_NE(host.prompts.Log().back().find("CWinApp::ExitInstance()-Finished"), std::string::npos);
  }
  host.refuseFrame = true;
  EXPECT_FALSE(StartStop(host, CommandLine::Parse({"--config-root", root_})).InitInstance());
  host.refuseServices = true;
  EXPECT_FALSE(StartStop(host, CommandLine::Parse({"--config-root", root_})).InitInstance());
}

TEST_F(ProgramTest, ManualsStopAtTheFirstIncompletePair) {
  ASSERT_TRUE(WriteFileAtomically(Path("a.ini"), "[Manuals]\nTitle0=A\n"));
  EXPECT_TRUE(StartStop::ReadManuals(Path("a.ini")).empty());
  ASSERT_TRUE(WriteFileAtomically(Path("a.ini"),
                                  "[Manuals]\nTitle0=A\nFile0=a\nTitle1=B\nFile1=b\nFile2=c\nTitle3=D\n"
                                  "File3=d\n[Mac Main Menu Remove]\n0=x\n1=y\n3=z\n"));
  EXPECT_EQ(StartStop::ReadManuals(Path("a.ini")).size(), 2u);
  EXPECT_EQ(StartStop::ReadMenuRemovals(Path("a.ini")), (std::vector<std::string>{"x", "y"}));
}

TEST_F(ProgramTest, RecordedFoldersAreUsedWhenTheyCanBe) {
  ScriptedPrompts prompts({});
  Dispatcher dispatcher;
  const Folders folders = Folders::Below(root_);
  {
    Program program(folders, SystemClock(), prompts, dispatcher);
    ZKBasics& basics = program.basics();
    basics.ConfigBasics();
    basics.MainSetInstrPath(Path("my instruments"));
    ASSERT_TRUE(WriteFileAtomically(Path("file"), "x"));
    basics.SetRegistry("Data Path(32)", Path("file/below"));
    basics.SetRegistry("Key", "value", true);
  }
  Program program(folders, SystemClock(), prompts, dispatcher);
  ZKBasics& basics = program.basics();
  basics.ConfigBasics();
  EXPECT_EQ(basics.paths().MainGetInstrPath(), Path("my instruments"));
  EXPECT_EQ(basics.paths().MainGetDataPath(), Path("Documents/Corvane/Tonalith"));
  const IniFile registry(Path("config/Corvane/Registry.ini"));
  EXPECT_EQ(registry.GetString("SOFTWARE\\Corvane\\Tonalith", "Key"), "value");
  EXPECT_EQ(registry.GetString("SOFTWARE\\Corvane\\Tonalith\\13.0", "Instrument Path(32)"), Path("my instruments"));
  basics.registry().store().Write("SOFTWARE\\Corvane\\Hexalon\\DX7", "Note", "of the instrument");
  basics.registry().store().Write("SOFTWARE\\Corvane\\Hexalon\\DX7\\2.0", "Note", "of its version");
  EXPECT_EQ(basics.registry().mainGetKey("Note", "DX7", "2.0"), "of its version");
  EXPECT_EQ(basics.registry().mainGetKey("Note", "DX7", "1.0"), "of the instrument");
  EXPECT_EQ(basics.registry().mainGetKey("Note", "D50", "1.0"), "");
}

TEST_F(ProgramTest, UnwritableRegistryIsShown) {
  ScriptedPrompts prompts({});
  ASSERT_TRUE(WriteFileAtomically(Path("file"), "x"));
  Registry registry(Path("file/Registry.ini"), Path("run"), "Tonalith", &prompts);
  EXPECT_FALSE(registry.SetRegistry("a", "b"));
  ASSERT_EQ(prompts.Log().size(), 1u);
  EXPECT_EQ(prompts.Log()[0], "Error Creating Key! | SOFTWARE\\Corvane\\Tonalith\\13.0 | ok -> ok");
}

// What scripts change in the preferences is told, and put back unless somebody changed it since.
TEST_F(ProgramTest, WhatScriptsChangeIsToldAndPutBack) {
  Started started(root_);
  Program& program = started.program;
  Settings& settings = program.settings();
  ScriptChanges& changes = program.scriptChanges();
  std::vector<std::string> told;
  changes.SetListener([&told](const std::string& sentence) { told.push_back(sentence); });
  const auto run = [&](const char* maker, const std::string& source) {
    Synth synth{};
    CopyText(synth.shortName, sizeof synth.shortName, maker);
    CopyText(synth.typeName, sizeof synth.typeName, "Patch");
    TransferContext context;
    MidiMacro(program.scripts(), context, synth, CompileScript(source).code, {}, 0, 0, 0);
  };
  EXPECT_FALSE(changes.CanUndo());
  run("Acme", "setDefaultMidiOutPort 3 setDefaultMidiChannel 18 setMidiThru 1 setMidiThru 0 SetAutoSense 1 ]");
  run("Acme", "setDefaultMidiOutPort 5 setDefaultMidiOutPort 5 ]");
  EXPECT_EQ(told.front(), "A script of the Acme Patch changed \"Default MIDI OUT port\" from 1 to 4.");
  EXPECT_EQ(told.size(), 6U);
  EXPECT_EQ(changes.TakeNews(), told);
  EXPECT_TRUE(changes.TakeNews().empty());
  settings.MainMidiChannel(9);
  EXPECT_EQ(changes.Undo(),
            "Put back: \"Default MIDI OUT port\" is 1, \"MIDI thru\" is 0, \"Sense instruments at start\" is 0. "
            "Changed since, and left alone: \"Default MIDI channel\".");
  EXPECT_EQ(settings.MainPortOut(-1), 0);
  EXPECT_EQ(settings.MainMidiChannel(-1), 9);
  EXPECT_EQ(settings.MainAutoSenseOnProgramExecution(-1), 0);
  EXPECT_FALSE(changes.CanUndo());
  EXPECT_EQ(changes.Undo(), "Nothing was put back.");
  // Only the last one's are taken back.
  run("Acme", "setDefaultMidiOutPort 2 ]");
  run("J\xFCrgen", "setDefaultMidiInPort 2 ]");
  EXPECT_EQ(told.back(), "A script of the J\xC3\xBCrgen Patch changed \"Default MIDI IN port\" from 1 to 3.");
  EXPECT_EQ(changes.Undo(), "Put back: \"Default MIDI IN port\" is 1.");
  EXPECT_EQ(settings.MainPortOut(-1), 2);
  // A script computes as long as the preferences say.
  EXPECT_EQ(program.scripts().ScriptLimitMs(), 5000);
  settings.MainScriptSeconds(2);
  EXPECT_EQ(program.scripts().ScriptLimitMs(), 2000);
  // A Get asks again as often, and reads twice when they say so.
  EXPECT_EQ(program.scripts().ExtraAttempts(), 2);
  settings.MainExtraAttempts(0);
  EXPECT_EQ(program.scripts().ExtraAttempts(), 0);
  settings.MainReadTwice(1);
  EXPECT_TRUE(program.scripts().ReadTwice());
}

TEST_F(ProgramTest, ScriptsSeeSettingsMacrosAndTheDiskFile) {
  Started started(root_);
  ZKBasics& basics = started.program.basics();
  ScriptServices& services = basics.scripts();
  services.SetSetting(ScriptSetting::DefaultOutPort, 3);
  services.SetSetting(ScriptSetting::DefaultOutPort, -5);
  EXPECT_EQ(basics.MainPortOut(-1), 3);
  EXPECT_EQ(basics.out().MainPortOut(), 3);
  services.SetSetting(ScriptSetting::MidiDelay, 17);
  EXPECT_EQ(basics.out().GlobalMidiDelay(), 17u);
  basics.MainDelay(40);
  EXPECT_EQ(basics.out().midiXDelay(), 40);
  basics.ShowTransmitWindow(0);
  EXPECT_EQ(basics.transfers().ShowTransmitWindow(), 0);
  const std::pair<ScriptSetting, SettingId> settings[] = {
      {ScriptSetting::DefaultOutPort, SettingId::MainPortOut},
      {ScriptSetting::DefaultInPort, SettingId::MainPortIn},
      {ScriptSetting::DefaultMidiChannel, SettingId::MainMidiChannel},
      {ScriptSetting::EchoMode, SettingId::MainEchoMode},
      {ScriptSetting::IncludeRealTimeEvents, SettingId::MainIncludeRealTimeEvents},
      {ScriptSetting::BankRespondToPatchChange, SettingId::MainBankRespondToPatchChange},
      {ScriptSetting::UpdatePatch, SettingId::MainUpdatePatch},
      {ScriptSetting::AutoSenseOnProgramExecution, SettingId::MainAutoSenseOnProgramExecution},
      {ScriptSetting::UseSynchronizedEditing, SettingId::MainUseSynchronizedEditing},
      {ScriptSetting::ActivateOnMouseOver, SettingId::MainActivateOnMouseOver},
      {ScriptSetting::ReceiveManualBulkDumps, SettingId::MainReceiveManualBulkDumps},
      {ScriptSetting::Delay, SettingId::MainDelay},
      {ScriptSetting::ShowTransmitWindow, SettingId::MainShowTransmitWindow}};
  for (const auto& [script, id] : settings) {
    for (const int value : {1, 0, 1}) {
      services.SetSetting(script, value);
      EXPECT_EQ(basics.settings().Value(id), value) << Info(id).name;
      EXPECT_EQ(services.Setting(script), value) << Info(id).name;
    }
  }
  EXPECT_EQ(services.PreferencesInt("Version", "Major", -1), 13);
  WindowPlace place{-20, 5, 640, 480};
  EXPECT_TRUE(basics.MainGetLeftTop(0, 1, place));
  place = {};
  EXPECT_FALSE(basics.MainGetLeftTop(-1, 2, place));
  EXPECT_TRUE(basics.MainGetLeftTop(-1, 1, place));
  EXPECT_EQ(place.left, -20);
  EXPECT_EQ(place.height, 480);

  EXPECT_FALSE(services.HasMacroTable());
  auto table = std::make_shared<MacroTable>();
  table->macros[255] = {7, 255};
  basics.SetEditMacros(table);
  const auto code = services.Macro(255);
  table.reset();
  basics.SetEditMacros(nullptr);
  EXPECT_EQ(code.size(), 2u);
  EXPECT_EQ(code[0], 7);
  EXPECT_TRUE(services.Macro(255).empty());
  // A script may still run in the code of a table that was exchanged; the last 64 stay.
  table = std::make_shared<MacroTable>();
  const std::weak_ptr<MacroTable> exchanged = table;
  for (int i = 0; i < 65; ++i) basics.SetEditMacros(i > 0 ? std::make_shared<MacroTable>() : std::move(table));
  EXPECT_FALSE(exchanged.expired());
  basics.SetEditMacros(nullptr);
  EXPECT_TRUE(exchanged.expired());

  std::uint8_t bytes[4] = {};
  EXPECT_EQ(services.DiskRead(bytes), 0u);
  basics.scripts().OpenDiskFile({1, 2, 3});
  services.DiskSeek(1);
  EXPECT_EQ(services.DiskRead(bytes), 2u);
  EXPECT_EQ(bytes[1], 3);
  services.DiskSeek(99);
  EXPECT_EQ(services.DiskRead(bytes), 0u);
  EXPECT_EQ(services.DiskSize(), 3);
}

// Two cables; while data is received on the second, the first goes away and the second takes its number: the receive
// ends with a sentence instead of going on with whatever is behind that number now.
TEST_F(ProgramTest, UnpluggedCablesEndTheirTransfersAndAreToldOnTheMainThread) {
  ScriptedPrompts prompts({});
  Dispatcher dispatcher;
  auto backend = std::make_shared<VirtualBackend>(SystemClock());
  auto first = backend->CreateEndpoint("First");
  auto second = backend->CreateEndpoint("Second");
  Program program(Folders::Below(root_), SystemClock(), prompts, dispatcher);
  ZKBasics& basics = program.basics();
  basics.midi().AddBackend(backend);
  basics.ConfigBasics();
  basics.LoadConfig();
  basics.OpenMidiPorts();
  ASSERT_EQ(basics.in().FindPort("Second"), 1);
  std::atomic<int> heard{0};
  second->SetReceiver([&](std::span<const std::uint8_t>, std::int64_t) { ++heard; });
  ASSERT_TRUE(WriteFileAtomically(Path("two.syx"), std::string_view("\xF0\x7D\xF7")));
  EXPECT_EQ(program.mainWindow().SendMessage(
                MainWindowMessage::TransmitFile, 2,
                static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(Path("two.syx").c_str()))),
            1);
  // The file has the port until its job is over.
  EXPECT_TRUE(
      dispatcher.RunUntil([&] { return heard == 1 && program.desk().Idle(); }, SystemClock().NowUs() + 5'000'000));
  int changes = 0;
  const auto here = std::this_thread::get_id();
  basics.AddPortListener([&](int what) {
    EXPECT_EQ(std::this_thread::get_id(), here);
    changes |= what;
  });

  DataFilePtr data(AllocDataFile());
  ASSERT_TRUE(AllocChunk(&data->synth, &data->synthSize, kSynthSize));
  ASSERT_TRUE(ResizeBody(data.get(), 20));
  Synth& synth = *data->synth;
  synth.fileSize = synth.voiceSize = synth.voiceBytes = 20;
  synth.numVoices = 1;
  synth.optionBits = 3;
  synth.noChecksumOnFormat = 1;
  synth.midiInPort = synth.midiOutPort = 1;
  const std::uint8_t script[] = {1, 0, 0, 0, 20, 7, 255};  // receive 20 bytes
  ASSERT_TRUE(AllocChunk(&data->receiveScript, &data->receiveScriptSize, sizeof script, script));
  ASSERT_TRUE(AddDataFileComponents(data.get(), 0));
  data->body[0] = 0x55;
  TransferRequest request;
  request.dataFile = data.get();
  std::shared_ptr<Transfer> transfer;
  ASSERT_EQ(basics.transfers().MidiIODataFile(request, &transfer), 1);
  const std::int64_t deadline = SystemClock().NowUs() + 20'000'000;
  const auto listens = [&] { return basics.in().GetMidiInPort(1)->ReceiveState() == 1; };
  while (!listens() && SystemClock().NowUs() < deadline)
    dispatcher.RunUntil([] { return false; }, SystemClock().NowUs() + 5'000);
  // Another port goes: the transfer goes on, and the ports move once it is over.
  second->Send(std::vector<std::uint8_t>{0xF0, 0x3E, 0x01});
  first->Unplug();
  dispatcher.RunUntil([&] { return basics.in().FindPort("Second") != 1; }, SystemClock().NowUs() + 150'000);
  EXPECT_TRUE(transfer->Running());
  EXPECT_EQ(basics.in().FindPort("Second"), 1);
  std::vector<std::uint8_t> rest(17, 2);
  rest.back() = 0xF7;
  second->Send(rest);
  EXPECT_TRUE(dispatcher.RunUntil([&] { return changes != 0 && !transfer->Running(); }, deadline));
  EXPECT_EQ(changes, kPortsRemoved);
  EXPECT_TRUE(transfer->Result().ok);
  EXPECT_EQ(data->body[0], 0xF0);
  EXPECT_EQ(basics.in().FindPort("Second"), 0);
  // Its own goes.
  data->body[0] = 0x55;
  data->synth->midiInPort = data->synth->midiOutPort = 0;
  ASSERT_EQ(basics.transfers().MidiIODataFile(request, &transfer), 1);
  second->Unplug();
  EXPECT_TRUE(dispatcher.RunUntil([&] { return !transfer->Running(); }, deadline));
  EXPECT_EQ(transfer->Result().cause, TransferCause::kPortLost);
  EXPECT_EQ(data->body[0], 0x55);
}

TEST_F(ProgramTest, NamesAndApplicationVariables) {
  SingleInstanceManager names;
  names.Add("a");
  names.Add("a");
  EXPECT_TRUE(names.Exists("a") && !names.Exists("A"));
  EXPECT_TRUE(names.Remove("a"));
  EXPECT_FALSE(names.Remove("a"));
  ZKAppVars vars;
  EXPECT_EQ(vars.GetAppVar(1), -1);
  vars.SetAppVar(2, 20);
  vars.SetAppVar(-4, 40);
  EXPECT_EQ(vars.GetAppVarGUID(), 1);
  EXPECT_EQ(vars.GetAppVarGUID(), 3);
  vars.SetAppVar(2, 21);
  EXPECT_EQ(vars.GetAppVar(2), 21);
  EXPECT_EQ(vars.GetAppVar(3), 0);
}

namespace {

// A program on a folder and a cable of its own.
struct One {
  One(const std::string& root, const char* port) : backend(std::make_shared<VirtualBackend>(SystemClock())) {
    cable = backend->CreateEndpoint(port);
    cable->SetReceiver([this](std::span<const std::uint8_t> bytes, std::int64_t) { heard += bytes.size(); });
    program = std::make_unique<Program>(Folders::Below(root), SystemClock(), prompts, dispatcher);
    program->midi().AddBackend(backend);
    program->ConfigBasics();
    program->LoadConfig();
    PortMap all;
    all.SetOpenAll(true);
    program->midi().SetMidiInPortMap(all);
    program->midi().SetMidiOutPortMap(all);
    program->midi().Start();
    program->midi().MidiPortInOpenPortsFromMap();
    program->midi().MidiPortOutOpenPortsFromMap();
  }
  ~One() { program.reset(); }
  // Nothing is in transfer any more.
  bool Idle() {
    return dispatcher.RunUntil([this] { return program->midiSide().desk().Idle(); }, SystemClock().NowUs() + 5'000'000);
  }
  ScriptServices& scripts() { return program->scripts(); }
  std::int64_t Ask(MainWindowMessage message, std::int64_t w, std::int64_t l = 0) {
    ScriptMessage ask;
    ask.number = static_cast<std::uint16_t>(message);
    ask.wParam = w;
    ask.lParam = l;
    return scripts().Host()->Send(ScriptReceiver::MainWindow, ask, {});
  }
  ScriptedPrompts prompts{{}};
  Dispatcher dispatcher;
  std::shared_ptr<VirtualBackend> backend;
  std::shared_ptr<VirtualEndpoint> cable;
  std::atomic<std::size_t> heard{0};
  std::unique_ptr<Program> program;
};

}  // namespace

void ExpectRefusals(const std::vector<std::string>& told, const std::vector<std::string>& sentences) {
  ASSERT_EQ(told.size(), sentences.size());
  for (std::size_t i = 0; i < told.size(); ++i) EXPECT_NE(told[i].find(sentences[i]), std::string::npos) << told[i];
}

// Everything a program keeps, in two programs on folders and cables of their own; the second ends while the first
// works.
TEST_F(ProgramTest, TwoProgramsSideBySide) {
  One a(Path("a"), "Cable A");
  auto b = std::make_unique<One>(Path("b"), "Cable B");
  EXPECT_EQ(a.program->out().OUTGETPORTNAME(0), "Cable A");
  EXPECT_EQ(b->program->out().OUTGETPORTNAME(0), "Cable B");

  a.program->settings().MainDelay(30);
  a.program->settings().MainPortOut(4);
  EXPECT_EQ(a.program->out().midiXDelay(), 30);
  EXPECT_EQ(b->program->out().midiXDelay(), 0);
  EXPECT_EQ(b->program->out().MainPortOut(), 0);
  EXPECT_TRUE(a.program->SaveConfig().ok());
  EXPECT_NE(a.program->paths().BuildConfigFilename(), b->program->paths().BuildConfigFilename());

  a.Ask(MainWindowMessage::SetAppVar, 1, 10);
  EXPECT_EQ(b->Ask(MainWindowMessage::GetAppVar, 1), -1);
  EXPECT_EQ(b->Ask(MainWindowMessage::GetAppVarGuid, 0), 1);
  EXPECT_EQ(a.Ask(MainWindowMessage::GetAppVarGuid, 0), 2);
  a.scripts().AppState().SetBasicsVar(3, 33);
  EXPECT_TRUE(a.scripts().AppState().TakeOneShot(5));
  EXPECT_EQ(b->scripts().AppState().BasicsVar(3), 0);
  EXPECT_TRUE(b->scripts().AppState().TakeOneShot(5));
  a.program->windowCounters().Count(WindowType::Set);
  EXPECT_EQ(b->program->windowCounters().Created(WindowType::Set), 0);

  // What one records, the other sends.
  Event* list = nullptr;
  a.program->basics().SetFirstEvent(true, &list);
  TransferContext context;
  const std::uint8_t message[] = {0xF0, 0x7D, 1, 0xF7};
  EXPECT_EQ(b->program->basics().GetFirstEvent(), nullptr);
  EXPECT_EQ(a.scripts().SendDataPort(message, 0, context), 4);
  EXPECT_EQ(b->scripts().SendDataPort(message, 0, context), 4);
  EXPECT_TRUE(b->program->out().MidiOutWaitIdle(0, 5000));
  a.program->basics().SetFirstEvent(false, nullptr);
  ASSERT_NE(list, nullptr);
  FreeEventList(list);
  EXPECT_TRUE(a.dispatcher.RunUntil([&] { return b->heard == 4; }, SystemClock().NowUs() + 5'000'000));
  EXPECT_EQ(a.heard, 0u);

  // A file goes to the instrument without a window; no script can name one.
  const std::string file = Path("dump.syx");
  ASSERT_TRUE(WriteFileAtomically(file, std::string_view("\x80\x40\x01\xF0\x7D\x02\xF7")));
  const auto address = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(file.c_str()));
  EXPECT_EQ(a.Ask(MainWindowMessage::TransmitFile, 1, address), 0);
  EXPECT_EQ(a.program->mainWindow().SendMessage(MainWindowMessage::TransmitFile, 1, address), 1);
  EXPECT_TRUE(a.dispatcher.RunUntil([&] { return a.heard == 7; }, SystemClock().NowUs() + 5'000'000));
  EXPECT_EQ(a.program->mainWindow().SendMessage(MainWindowMessage::TransmitFile, 2, address), 0);
  b->program->CloseMidiPorts();
  for (const int port : {0, 1})
    EXPECT_EQ(b->program->mainWindow().SendMessage(MainWindowMessage::TransmitFile, port, address), 0);
  ExpectRefusals(a.prompts.Log(), {"There is no MIDI OUT port 2."});
  ExpectRefusals(b->prompts.Log(), {"There is no MIDI OUT port to send to.", "There is no MIDI OUT port to send to."});

  // Data that a thread releases is told on each one's main thread; the end of one leaves the other at work.
  std::vector<char> told;
  const DataFileWatch watchA(a.program->dataFileObservers(), [&](const DataFile*) { told.push_back('a'); });
  {
    const DataFileWatch watchB(b->program->dataFileObservers(), [&](const DataFile*) { told.push_back('b'); });
    std::thread([] { FreeDataFile(AllocDataFile()); }).join();
    EXPECT_TRUE(told.empty());
    b->dispatcher.RunQueued();
    a.dispatcher.RunQueued();
    EXPECT_EQ(told, (std::vector<char>{'b', 'a'}));
  }
  b->program->StopWork();
  EXPECT_EQ(b->Ask(MainWindowMessage::GetAppVarGuid, 0), 0);
  EXPECT_TRUE(b->scripts().Quitting() && !a.scripts().Quitting());
  b.reset();
  std::thread([] { FreeDataFile(AllocDataFile()); }).join();
  a.dispatcher.RunQueued();
  EXPECT_EQ(told.size(), 3u);
  EXPECT_TRUE(a.Idle() && a.scripts().SendDataPort(message, 0, context) == 4);
  EXPECT_EQ(a.Ask(MainWindowMessage::GetAppVar, 1), 10);

  // The next start on the same folders begins with what was saved.
  One again(Path("a"), "Cable A");
  EXPECT_EQ(again.program->out().MainPortOut(), 4);
  EXPECT_EQ(again.program->out().midiXDelay(), 30);
}

// The cable is pulled while the only message of a MIDI file waits in its port.
TEST_F(ProgramTest, WhatAnInstrumentMayHoldOfAFileIsSaid) {
  One one(Path("a"), "Cable");
  const std::vector<std::uint8_t> message = {0xF0, 0x7D, 0x02, 0xF7};
  const auto file = WriteSmfSysEx(std::vector<SmfMessage>{{message, 60'000}});
  const std::string path = Path("one.mid");
  ASSERT_TRUE(WriteFileAtomically(path, std::span<const std::uint8_t>(file)));
  EXPECT_TRUE(one.program->mainWindow().SendMessage(
      MainWindowMessage::TransmitFile, 1, static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(path.c_str()))));
  one.dispatcher.RunUntil([] { return false; }, SystemClock().NowUs() + 100'000);
  one.cable->Unplug();
  EXPECT_TRUE(one.dispatcher.RunUntil([&] { return !one.prompts.Log().empty(); }, SystemClock().NowUs() + 10'000'000));
  EXPECT_NE(one.prompts.Log().back().find("may hold a part of it"), std::string::npos) << one.prompts.Log().back();
}

// What comes in on the cable, and what then goes out on it, for each preference of MIDI thru.
TEST_F(ProgramTest, ThruAndPacingFollowThePreferences) {
  using Octets = std::vector<std::uint8_t>;
  const Octets note = {0x90, 60, 100}, clock = {0xF8};
  const struct {
    int mode, channel, realTime, localOff;
    Octets in, out;
  } rows[] = {{0, 0, 1, 1, note, {}},   {1, 7, 0, 0, note, note},
              {3, 0, 0, 0, note, note}, {3, 7, 0, 0, note, {0x97, 60, 100}},
              {2, 7, 0, 0, note, {}},   {2, 7, 0, 1, note, {0x97, 60, 100}},
              {1, 0, 0, 0, clock, {}},  {1, 0, 1, 0, clock, clock}};
  One one(Path("a"), "Cable");
  std::mutex mutex;
  Octets heard;
  one.cable->SetReceiver([&](std::span<const std::uint8_t> bytes, std::int64_t) {
    const std::lock_guard lock(mutex);
    heard.insert(heard.end(), bytes.begin(), bytes.end());
  });
  Settings& settings = one.program->settings();
  const Octets end = {0xF0, 0x7D, 0x7F, 0xF7};
  TransferContext context;
  for (const auto& row : rows) {
    settings.MainEchoMode(row.mode);
    settings.MainMidiChannel(row.channel);
    settings.MainIncludeRealTimeEvents(row.realTime);
    settings.MainMidiThruLocalOff(row.localOff);
    one.cable->Send(row.in);
    ASSERT_TRUE(one.cable->Flush(5000));
    EXPECT_EQ(one.scripts().SendDataPort(end, 0, context), 4);
    Octets all = row.out;
    all.insert(all.end(), end.begin(), end.end());
    const auto arrived = [&] {
      const std::lock_guard lock(mutex);
      return heard.size() >= end.size() && std::equal(end.rbegin(), end.rend(), heard.rbegin());
    };
    EXPECT_TRUE(one.dispatcher.RunUntil(arrived, SystemClock().NowUs() + 5'000'000));
    const std::lock_guard lock(mutex);
    EXPECT_EQ(heard, all) << row.mode << " " << row.channel << " " << row.realTime << " " << row.localOff;
    heard.clear();
  }
  one.cable->SetReceiver({});
  settings.MainDelay(11);
  settings.MainDelayMidi(22);
  settings.MainMidiSlow(33);
  settings.MainPortIn(2);
  const MidiOut& out = one.program->out();
  EXPECT_EQ(out.midiXDelay(), 11);
  EXPECT_EQ(out.midiXSpace(), 22);
  EXPECT_EQ(out.midiXSlow(), 33);
  EXPECT_EQ(one.program->in().MainPortIn(), 2);
  const TransferPreferences& asked = one.program->scripts();
  for (const int ask : {1, 0}) {
    settings.MainPchPopupSelect(ask);
    EXPECT_EQ(asked.AskPatchNumber(), ask != 0);
  }
}

// A script on a second set of ports: those are not the script's to change, everything else is the program's.
TEST_F(ProgramTest, SecondPortsShareTheProgram) {
  Started started(root_);
  Program& program = started.program;
  program.settings().MainPortOut(3);
  program.settings().MainMidiChannel(7);
  VirtualClock clock;
  Dispatcher second(clock);
  const auto midi = program.MakeMidi(clock, second);
  ScriptServices& scripts = midi->scripts();
  EXPECT_EQ(scripts.Setting(ScriptSetting::DefaultOutPort), 0);
  EXPECT_EQ(scripts.Setting(ScriptSetting::DefaultMidiChannel), 7);
  scripts.SetSetting(ScriptSetting::DefaultOutPort, 5);
  scripts.SetSetting(ScriptSetting::Delay, 12);
  EXPECT_EQ(program.settings().MainPortOut(-1), 3);
  EXPECT_EQ(midi->midi().out().midiXDelay(), 12);
  EXPECT_EQ(scripts.SetOpenAllPorts(MidiDirection::Output, 1), 0);
  EXPECT_EQ(midi->midi().MidiPortOutOpenAll(-1), 0);
  EXPECT_EQ(&scripts.AppState(), &program.scriptState());
  EXPECT_EQ(scripts.PreferencesInt("Version", "Major", -1), 13);
}

}  // namespace
}  // namespace tonalith
