// The search fields of the tools: what commands take is what is seen, and what is hidden is said.
#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>

#include "midi/midi_output.h"
#include "platform/atomic_file.h"
#include "services/zkbasics.h"
#include "studio/ui/install_dialogs.h"
#include "tools/ui/monitor_window.h"
#include "tools/ui/raw_sysex_window.h"
#include "ui/port_dialogs.h"
#include "ui/style/search_field.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class SearchTest : public ProgramFixture {
 protected:
  template <typename Window>
  Window* Child() {
    for (ZKWindow* child : frame().Children())
      if (auto* found = qobject_cast<Window*>(child)) return found;
    return nullptr;
  }
  bool Says(const QWidget& window, const char* words) {
    for (const QLabel* label : window.findChildren<QLabel*>())
      if (label->isVisibleTo(&window) && label->text().contains(QLatin1String(words))) return true;
    return false;
  }
};

TEST_F(SearchTest, RawSysExSendsAndSavesWhatIsShown) {
  Start({"file " + Path("found.syx")});
  // An identity request, something of Yamaha, something of Kawai.
  const std::string bytes = {"\xF0\x7E\x7F\x06\x01\xF7\xF0\x43\x11\x22\xF7\xF0\x40\x33\xF7\xF0\x43\x55\xF7"};
  ASSERT_TRUE(WriteFileAtomically(Path("some.syx"), std::string_view(bytes)).ok());
  ASSERT_TRUE(DropFiles(&frame(), {Path("some.syx")}));
  ASSERT_TRUE(WaitFor([this] { return Child<RawSysExWindow>() != nullptr; }));
  auto* raw = Child<RawSysExWindow>();
  ASSERT_EQ(raw->model()->rowCount(), 4);
  frame().RunCommand(CommandId::EditFind);
  EXPECT_TRUE(raw->Search()->hasFocus());
  TypeText(raw->Search(), QStringLiteral("yamaha"));
  EXPECT_EQ(raw->Search()->Hits(), 2);
  EXPECT_TRUE(Says(*raw, "2 of 4 messages are shown."));
  KeepScreenshot(raw, QStringLiteral("raw-sysex-search"));
  frame().RunCommand(CommandId::FileSaveAs);
  std::vector<std::uint8_t> saved;
  ASSERT_TRUE(ReadWholeFile(Path("found.syx"), saved).ok());
  EXPECT_EQ(saved, (std::vector<std::uint8_t>{0xF0, 0x43, 0x11, 0x22, 0xF7, 0xF0, 0x43, 0x55, 0xF7}));
  TypeText(raw->Search(), QStringLiteral(" zzz"));
  EXPECT_FALSE(raw->CommandEnabled(CommandId::MidiTransmit));
  EXPECT_EQ(raw->RefusalOf(CommandId::FileSaveAs).toStdString(), "The search hides every message.");
  PressKey(raw->Search(), Qt::Key_Escape);
  EXPECT_TRUE(raw->CommandEnabled(CommandId::FileSaveAs));
  EXPECT_FALSE(Says(*raw, "messages are shown."));
}

TEST_F(SearchTest, TheMonitorCopiesWhatIsShownWhileLinesCome) {
  Start();
  frame().RunCommand(CommandId::UtilitiesMidiMonitor);
  auto* monitor = Child<TZKMonText>();
  ASSERT_NE(monitor, nullptr);
  monitor->OnEditClear();
  for (const char* line : {"first pear", "an apple", "second pear"}) monitor->MonitorMsg(line);
  ASSERT_TRUE(WaitFor([&] { return monitor->model()->rowCount() == 3; }));
  frame().RunCommand(CommandId::EditFind);
  TypeText(monitor->Search(), QStringLiteral("pear"));
  EXPECT_EQ(monitor->Search()->Hits(), 2);
  monitor->MonitorMsg("third pear");
  monitor->MonitorMsg("one more apple");
  ASSERT_TRUE(WaitFor([&] { return monitor->Search()->Hits() == 3; }));
  EXPECT_TRUE(Says(*monitor, "3 of 5 lines are shown.")) << "said while lines come";
  KeepScreenshot(monitor, QStringLiteral("midi-monitor-search"));
  monitor->OnEditCopy();
  const QString copied = QGuiApplication::clipboard()->text();
  EXPECT_EQ(copied.count(QLatin1String("pear")), 3);
  EXPECT_FALSE(copied.contains(QLatin1String("apple")));
  monitor->table()->selectAll();
  EXPECT_EQ(monitor->table()->selectionModel()->selectedRows().size(), 3);
  monitor->OnEditClear();
  EXPECT_EQ(monitor->model()->rowCount(), 0);
}

TEST_F(SearchTest, PortsAndPackagesThatAreChosenOutOfSightAreSaid) {
  Start();
  PVMidiIn ports(program_->basics()->midi());
  ports.openAll()->setChecked(false);
  ports.list()->item(0)->setSelected(true);
  ports.show();
  ASSERT_TRUE(MakeActive(&ports));
  ports.search()->Begin();
  TypeText(ports.search(), ports.list()->item(1)->text());
  EXPECT_TRUE(ports.list()->item(0)->isHidden());
  EXPECT_TRUE(Says(ports, "Hidden, and still chosen: 1."));
  PressKey(ports.search(), Qt::Key_Return);
  EXPECT_TRUE(ports.isVisible()) << "Return is for what was found";
  EXPECT_TRUE(ports.list()->hasFocus());
  PressKey(ports.list(), Qt::Key_Space);
  KeepScreenshot(&ports, QStringLiteral("midi-in-ports-search"));
  ports.accept();
  EXPECT_EQ(program_->basics()->in().InPorts(), 2);

  for (const char* name : {"one.pvz", "two.pvz", "three.pvz"})
    ASSERT_TRUE(WriteFileAtomically(Path(name), std::string_view("x")).ok());
  InstallFromDlg install(root_);
  auto* list = install.findChild<QListWidget*>();
  auto* field = install.findChild<SearchField*>();
  install.show();
  list->item(0)->setCheckState(Qt::Checked);
  field->setText(list->item(1)->text());
  EXPECT_TRUE(Says(install, "because they are checked: 1."));
  for (QPushButton* button : install.findChildren<QPushButton*>())
    if (button->text() == QLatin1String("Select &All")) button->click();
  EXPECT_EQ(install.Chosen().size(), 2U) << "all that are shown, and what was checked before";
}

}  // namespace
}  // namespace tonalith
