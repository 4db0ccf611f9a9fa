// Every window and dialog that a command opens, with texts as long as German ones: kept as pictures, walked for
// controls that somebody cannot use, and small enough for a small screen.
#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QPointer>
#include <QTimer>
#include <QTranslator>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "app/command_menus.h"
#include "app/first_start.h"
#include "app/move_dialog.h"
#include "bank/bank_document.h"
#include "bank/ui/bank_history.h"
#include "bank/ui/export_preview.h"
#include "clipped_text.h"
#include "control_walk.h"
#include "platform/atomic_file.h"
#include "services/zkbasics.h"
#include "studio/ui/install_dialogs.h"
#include "studio/ui/studio_pictures.h"
#include "studio/ui/studio_window.h"
#include "tools/ui/sysex_dialog.h"
#include "ui/patch_selector.h"
#include "ui/qt_prompts.h"
#include "ui/transfer_windows.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

constexpr QSize kSmallScreen(1024, 700);
constexpr QSize kLargeScreen(2560, 1440);

class LongTexts final : public QTranslator {
 public:
  QString translate(const char* context, const char* source, const char*, int) const override {
    if (qstrcmp(context, "QShortcut") == 0) return {};  // names of keys
    const QString text = QString::fromUtf8(source);
    QString more;
    while (more.size() * 10 < text.size() * 4) more += QStringLiteral(" l\u00e4ng");
    return text + more;
  }
  bool isEmpty() const override { return false; }
};

// The classes of windows, dialogs and docks, as the headers of the program declare them; what others are made of left
// out.
std::set<std::string> WindowClasses() {
  static const std::regex kClass("class (\\w+)(?: final)? : public (\\w+)");
  const std::set<std::string> roots = {"QDialog", "QDockWidget", "QMainWindow", "ZKWindow"};
  std::map<std::string, std::string> bases;
  for (const char* folder : {"app", "ui", "bank/ui", "sets/ui", "library/ui", "collection/ui", "studio/ui", "tools/ui",
                             "editor/ui", "store/ui"}) {
    const std::filesystem::path path = std::filesystem::path(TONALITH_SOURCE_DIR) / folder;
    if (!std::filesystem::is_directory(path)) continue;
    for (const auto& file : std::filesystem::directory_iterator(path)) {
      if (file.path().extension() != ".h") continue;
      std::ifstream lines(file.path());
      std::smatch found;
      for (std::string line; std::getline(lines, line);)
        if (std::regex_search(line, found, kClass)) bases[found[1]] = found[2];
    }
  }
  std::set<std::string> windows;
  for (const auto& [kind, base] : bases) {
    std::string root = base;
    while (!roots.count(root) && bases.count(root)) root = bases[root];
    if (roots.count(root) && kind != "ZKWindow") windows.insert(kind);
  }
  for (const auto& [kind, base] : bases) windows.erase(base);
  return windows;
}

// Once with the texts as they are, once with long ones.
class EveryWindow : public ProgramFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    ProgramFixture::SetUp();
    if (GetParam()) QCoreApplication::installTranslator(&texts_);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] {
      if (QWidget* dialog = QApplication::activeModalWidget()) Look(dialog);
    });
    timer_.start(100);
  }
  void TearDown() override {
    timer_.stop();
    QCoreApplication::removeTranslator(&texts_);
    ProgramFixture::TearDown();
  }
  void Keep(const QPointer<QWidget>& kept, const QString& name) {
    Settle();
    if (!kept) return;  // its work is over
    EXPECT_EQ(FaultsOfTexts(*kept), "") << name.toStdString();
    KeepScreenshot(kept, QStringLiteral("windows/") + name + (GetParam() ? QStringLiteral("-long") : QString()));
  }
  // A dialog is closed behind it.
  void Look(const QPointer<QWidget>& window) {
    const QString kind = QString::fromLatin1(window->metaObject()->className()).section(QStringLiteral("::"), -1);
    // A question is pictured for each of its kinds.
    const QString name = asked_.isEmpty() ? kind : asked_;
    if (seen_.insert(name).second) {
      EXPECT_LE(window->minimumSizeHint().width(), kSmallScreen.width()) << kind.toStdString();
      EXPECT_LE(window->minimumSizeHint().height(), kSmallScreen.height()) << kind.toStdString();
      Keep(window, name);
    }
    if (window && qobject_cast<QDialog*>(window.data())) window->close();
  }
  void LookAtAll() {
    Settle();
    std::vector<QPointer<QWidget>> windows;
    for (QWidget* window : QApplication::topLevelWidgets())
      if (window->isVisible() && qobject_cast<QDialog*>(window)) windows.emplace_back(window);
    for (ZKWindow* child : frame().Children()) windows.emplace_back(child);
    // Closing one may delete others.
    for (const auto& window : windows)
      if (window) Look(window);
  }

  // What can be done to a bank, with many patches and long names; every event is measured.
  void WorkOnAThousandPatches() {
    TZKBank* bank = OpenThousandPatches();
    ASSERT_NE(bank, nullptr);
    parts().studio.window()->tree()->expandAll();
    Settle();  // the Inspector follows
    Keep(&frame(), QStringLiteral("frame-thousand-tree-open"));
    for (const CommandRow& row : CommandTable()) {
      const QAction* action = row.id == CommandId::None ? nullptr : frame().ActionOf(row.id);
      if ((row.menu != MenuId::Bank && row.menu != MenuId::Edit) || !action || !action->isEnabled()) continue;
      frame().RunCommand(CommandId::EditSelectAll);
      frame().RunCommand(row.id);
      LookAtAll();
      frame().windows().Activate(bank);
    }
    bank->CloseVerified();
    Settle();
  }

  // What no command opens by itself.
  void ShowTheRest() {
    for (const CommandId command :
         {CommandId::ViewInspector, CommandId::ViewMidiActivity, CommandId::OptionsPreferences})
      frame().RunCommand(command);
    ASSERT_TRUE(WriteFileAtomically(Path("one.syx"), std::string_view("\xF0\x43\x10\xF7")).ok());
    ASSERT_TRUE(DropFiles(&frame(), {Path("one.syx")}));
    Settle();
    frame().RunCommand(CommandId::FileSaveAs);
    frame().RunCommand(CommandId::ViewSysEx);
    Look(frame().ActiveChild());
    ASSERT_TRUE(parts().sets.OpenNew(*program_->studio()->instruments().front()));
    Settle();
    Look(frame().ActiveChild());
    frame().RunCommand(CommandId::SetSettings);
    for (const auto& driver : program_->studio()->instruments().front()->drivers) {
      if (driver->synth()->isBank) continue;
      ASSERT_TRUE(parts().libraries.OpenNew(*driver));
      Settle();
      Look(frame().ActiveChild());
      break;
    }
    frame().RunCommand(CommandId::FileNewCollection);
    Settle();
    Look(frame().ActiveChild());
    FirstStartPage first({}, *program_->studio(), *parts().studio.autoConfig());
    InstallFromDlg install(root_);
    ZKPatchSelector patch("Which patch?", 1, 1, 8);
    ZKCancelTransmit stop({"Out 1", "Out 2"});
    ZKMidiInStatus in;
    ZKMidiOutStatus out(program_->basics()->transfers());
    ZKBankDoc bank(nullptr);
    ZKBankUndo undo(bank, nullptr);
    ExportPreview preview(ExportFormat::Reaper, {}, {}, &frame());
    ZKTrans targets({{frame().ActiveChild(), QStringLiteral("Yamaha DX7"), {}},
                     {nullptr, QStringLiteral("Kawai K4"), QStringLiteral("This is another instrument.")}});
    ZKSysXMessageDlg typed(program_->program()->prompts(), root_);
    for (QDialog* dialog : std::initializer_list<QDialog*>{&first, &install, &patch, &stop, &in, &out, &undo, &preview,
                                                           &targets, &typed}) {
      dialog->show();
      Settle();
      Look(dialog);
    }
  }

  // The questions that the program asks, as a user gets them.
  void ShowQuestions() {
    Dispatcher dispatcher;
    QtPrompts prompts(dispatcher);
    prompts.SetParent(&frame());
    bool checked = false;
    const std::string text =
        QCoreApplication::translate(
            "Test",
            "\"My Sounds\" differs from its file.\n\nSave it before it is closed? What was changed since it was opened "
            "is lost otherwise.")
            .toStdString();
    const struct {
      const char* name;
      PromptButtons buttons;
      PromptIcon icon;
      const char* box;
    } questions[] = {{"Question-save", PromptButtons::YesNoCancel, PromptIcon::Question, ""},
                     {"Question-retry", PromptButtons::AbortRetryIgnore, PromptIcon::Error, ""},
                     {"Question-box", PromptButtons::YesNo, PromptIcon::Warning, "Do not ask again"},
                     {"Question-ok", PromptButtons::Ok, PromptIcon::Information, ""}};
    for (const auto& row : questions) {
      asked_ = QLatin1String(row.name);
      MessagePrompt prompt;
      prompt.title = "Bank Editor";
      prompt.text = text;
      prompt.buttons = row.buttons;
      prompt.icon = row.icon;
      prompt.checkBox = row.box;
      prompt.checked = *row.box ? &checked : nullptr;
      prompts.Message(prompt);
    }
    asked_ = QStringLiteral("Question-text");
    std::string name = "Studio";
    prompts.Text({"MIDI Device File", "Name of the file for the selected instruments:", name}, name);
    asked_ = QStringLiteral("Question-choice");
    prompts.Choose({"Open File", "What is in this file?", {"Yamaha DX7 Voice Bank", "Raw SysEx"}, 0, "Open"});
    asked_.clear();
  }

  QString asked_;  // the question that is open
  LongTexts texts_;
  QTimer timer_;
  std::set<QString> seen_;
};

TEST_P(EveryWindow, FitsIsReachedAndNamed) {
  Start();
  Open("Yamaha DX7", "Voice Bank", true);
  const std::set<CommandId> leaves = {CommandId::FileExit, CommandId::FileClose, CommandId::WindowCloseAll,
                                      CommandId::FileNewEditor};
  for (const CommandRow& row : CommandTable()) {
    const QAction* action = row.id == CommandId::None ? nullptr : frame().ActionOf(row.id);
    if (!action || !action->isEnabled() || row.checkable || *row.submenu || leaves.count(row.id)) continue;
    frame().RunCommand(row.id);
    LookAtAll();
  }
  TZKDrvLst* studio = parts().studio.Show();
  studio->tree()->SetCurrentNode(program_->studio()->instruments().front().get());
  for (const auto open : {&TZKDrvLst::OnSettings, &TZKDrvLst::OnAutoSense, &TZKDrvLst::OnSetupInformation,
                          &TZKDrvLst::OnInstallFromWeb}) {
    (studio->*open)();
    LookAtAll();
  }
  for (const QSize& size : {kSmallScreen, kLargeScreen}) {
    frame().resize(size);
    Settle();
    EXPECT_EQ(frame().size(), size);
    Keep(&frame(), QStringLiteral("frame-%1").arg(size.width()));
  }
  ShowTheRest();
  if (!GetParam()) WorkOnAThousandPatches();
  ShowQuestions();
  for (const std::string& kind : WindowClasses())
    EXPECT_TRUE(TheControlWatch()->Walked().count(kind)) << kind << " was not walked";
}

// Of the pixels of a small picture, so that two are told apart at a glance.
class InstrumentPictures : public ProgramFixture {};

TEST_F(InstrumentPictures, NoTwoLookAlike) {
  Start();
  std::vector<QImage> pictures;
  const auto& instruments = program_->studio()->instruments();
  for (const auto& one : instruments)
    pictures.push_back(InstrumentPicture(*program_->studio(), one.get(), QSize(64, 40), 1).toImage());
  for (std::size_t a = 0; a < pictures.size(); ++a)
    for (std::size_t b = 0; b < a; ++b) {
      int differ = 0;
      for (int at = 0; at < 64 * 40; ++at)
        differ += pictures[a].pixel(at % 64, at / 64) != pictures[b].pixel(at % 64, at / 64);
      EXPECT_GT(differ, 64 * 40 / 10) << instruments[a]->name << " and " << instruments[b]->name;
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, EveryWindow, ::testing::Bool());

}  // namespace
}  // namespace tonalith
