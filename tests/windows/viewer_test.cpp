// The viewer of bytes: what it shows, finds, compares, copies, prints and changes, and that it goes with its data.
#include <QAccessible>
#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLineEdit>
#include <QScrollBar>
#include <QToolButton>

#include "app/child_windows.h"
#include "app/view_commands.h"
#include "data/hex_text.h"
#include "platform/atomic_file.h"
#include "stall_probe.h"
#include "tools/ui/listing_view.h"
#include "tools/ui/message_view.h"
#include "tools/ui/raw_sysex_window.h"
#include "ui/qt_text.h"
#include "ui/style/search_field.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class ViewerTest : public ProgramFixture {
 protected:
  TZKView* View() {
    frame().RunCommand(CommandId::ViewSysEx);
    Settle();
    return qobject_cast<TZKView*>(frame().ActiveChild());
  }
  TZKBank* Bank() {
    TZKBank* bank = Open("Yamaha DX7", "Voice Bank", true);
    EXPECT_TRUE(Idle(bank));
    return bank;
  }
  RawSysExWindow* Raw(const std::string& bytes) {
    EXPECT_TRUE(WriteFileAtomically(Path("raw.syx"), std::string_view(bytes)).ok());
    EXPECT_TRUE(DropFiles(&frame(), {Path("raw.syx")}));
    WaitFor([this] { return qobject_cast<RawSysExWindow*>(frame().ActiveChild()) != nullptr; });
    return qobject_cast<RawSysExWindow*>(frame().ActiveChild());
  }
  std::string Log() { return testing::PrintToString(program_->PromptLog()); }
};

TEST_F(ViewerTest, KeysGoThroughTheBytesOfABank) {
  Start();
  Bank();
  TZKView* view = View();
  ASSERT_NE(view, nullptr);
  ListingView* bytes = view->bytes();
  KeepScreenshot(view, QStringLiteral("sysex-view"));
  EXPECT_TRUE(bytes->hasFocus());
  const struct {
    Qt::Key key;
    Qt::KeyboardModifiers modifiers;
    std::size_t to;
  } rows[] = {{Qt::Key_Left, Qt::NoModifier, 0},        {Qt::Key_Up, Qt::NoModifier, 0},
              {Qt::Key_Right, Qt::NoModifier, 1},       {Qt::Key_Down, Qt::NoModifier, 17},
              {Qt::Key_End, Qt::NoModifier, 31},        {Qt::Key_Home, Qt::NoModifier, 16},
              {Qt::Key_End, Qt::ControlModifier, 4103}, {Qt::Key_Right, Qt::NoModifier, 4103},
              {Qt::Key_Down, Qt::NoModifier, 4103},     {Qt::Key_PageDown, Qt::NoModifier, 4103},
              {Qt::Key_Up, Qt::NoModifier, 4087},       {Qt::Key_Home, Qt::ControlModifier, 0},
              {Qt::Key_Down, Qt::ShiftModifier, 16}};
  for (const auto& row : rows) {
    PressKey(bytes, row.key, row.modifiers);
    EXPECT_EQ(bytes->Current(), row.to) << row.key;
  }
  EXPECT_TRUE(view->StatusText().contains(QStringLiteral("17 bytes selected"))) << view->StatusText().toStdString();
  frame().RunCommand(CommandId::EditCopy);
  EXPECT_TRUE(QGuiApplication::clipboard()->text().startsWith(QLatin1String("F0 43 00 09 20 00 ")));
  EXPECT_EQ(QGuiApplication::clipboard()->text().size(), 17 * 3 - 1);
  view->CopyListing();
  EXPECT_TRUE(WaitFor([&] { return !view->Working(); }));
  EXPECT_TRUE(QGuiApplication::clipboard()->text().startsWith(QLatin1String("VIEW DATA LISTING\nFilename: ")));
  EXPECT_TRUE(QGuiApplication::clipboard()->text().contains(QLatin1String("\n00000:  F0 43 00 09 20 00 ")));
  EXPECT_EQ(QGuiApplication::clipboard()->text().count(QLatin1Char('\n')), 12) << "two lines are selected";

  // Read aloud: a text with as many characters in every line, the caret at the byte.
  QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(bytes);
  ASSERT_TRUE(spoken && spoken->textInterface());
  QAccessibleTextInterface* text = spoken->textInterface();
  EXPECT_EQ(text->text(text->cursorPosition(), text->cursorPosition() + 2),
            QString::fromLatin1(HexText(bytes->Listing().image().subspan(16, 1)).c_str()));
  int start = 0, end = 0;
  EXPECT_TRUE(text->textAtOffset(0, QAccessible::LineBoundary, &start, &end).startsWith(QLatin1String("00000:  F0")));
  text->setCursorPosition(end + 11);
  EXPECT_EQ(bytes->Current(), 17U);
}

TEST_F(ViewerTest, AByteIsChangedOnlyDeliberatelyAndComesBack) {
  Start({"text zz", "ok", "text 55", "text 55", "text F7"});
  TZKBank* bank = Bank();
  TZKView* view = View();
  ListingView* bytes = view->bytes();
  bytes->Go(100);
  const std::uint8_t before = bank->dataFile()->body[100];
  ASSERT_NE(before, 0x55);
  TypeText(bytes, QStringLiteral("1234"));
  EXPECT_EQ(bank->dataFile()->body[100], before) << "typing changes nothing";
  bank->document().history().MarkSaved();
  PressKey(bytes, Qt::Key_Return);
  EXPECT_EQ(bank->dataFile()->body[100], 0x55) << Log();
  EXPECT_TRUE(bank->document().IsModified());
  EXPECT_TRUE(view->isWindowModified());
  EXPECT_EQ(bank->document().UndoText(), "Change Byte");
  PressKey(bytes, Qt::Key_F2);
  frame().RunCommand(CommandId::EditUndo);
  EXPECT_EQ(bank->dataFile()->body[100], before) << "the same value is no change";
  EXPECT_FALSE(bank->document().IsModified());
  frame().RunCommand(CommandId::EditRedo);
  EXPECT_EQ(bank->dataFile()->body[100], 0x55);
  bank->document().SetBusy(true);
  view->ChangeByte();
  EXPECT_FALSE(view->CommandEnabled(CommandId::EditUndo));
  bank->document().SetBusy(false);
  // A raw message that is cut by a new end: its list follows, and Undo makes it whole again.
  RawSysExWindow* raw = Raw("\xF0\x7E\x7F\x06\x01\xF7");
  view = View();
  view->bytes()->Go(3);
  PressKey(view->bytes(), Qt::Key_Return);
  EXPECT_EQ(raw->model()->index(0, RawSysExModel::kLength).data().toInt(), 4) << Log();
  EXPECT_TRUE(raw->isWindowModified());
  frame().RunCommand(CommandId::EditUndo);
  EXPECT_EQ(raw->model()->index(0, RawSysExModel::kLength).data().toInt(), 6);
  EXPECT_FALSE(raw->isWindowModified());
}

TEST_F(ViewerTest, BytesAreShownAsMessages) {
  Start({"file " + Path("messages.pdf")});
  Bank();
  TZKView* view = View();
  view->ShowMessages(true);
  ASSERT_EQ(view->messages()->model()->rowCount(), 1);
  const auto text = [&](int row) {
    return view->messages()->model()->index(row, MessageLinesModel::kMessage).data().toString();
  };
  EXPECT_TRUE(text(0).contains(QStringLiteral("Yamaha DX7 Voice Bank"))) << text(0).toStdString();
  view->ShowFormatted(true);
  EXPECT_FALSE(view->ShowsMessages());
  Raw(std::string("\x01\xF0\x7E\x7F\x06\x01\xF7\x90\x3C\x40\xF0\x43PAD\x01\xF7", 17));
  view = View();
  view->bytes()->Go(8);
  view->ShowMessages(true);
  KeepScreenshot(view, QStringLiteral("sysex-view-messages"));
  ASSERT_EQ(view->messages()->model()->rowCount(), 4);
  EXPECT_TRUE(text(0).contains(QStringLiteral("Data bytes: 1"))) << text(0).toStdString();
  EXPECT_TRUE(text(1).contains(QStringLiteral("Identity Request"))) << text(1).toStdString();
  EXPECT_TRUE(text(2).contains(QStringLiteral("Note On"))) << text(2).toStdString();
  EXPECT_EQ(view->messages()->SelectedLines(), (std::pair<std::size_t, std::size_t>(2, 3))) << "of the current byte";
  PressKey(view->messages(), Qt::Key_Up);
  EXPECT_EQ(view->bytes()->Selection(), (std::pair<std::size_t, std::size_t>(1, 6)));
  PressKey(view->messages(), Qt::Key_Down, Qt::ShiftModifier);
  EXPECT_EQ(view->bytes()->Selection(), (std::pair<std::size_t, std::size_t>(1, 9)));
  frame().RunCommand(CommandId::EditCopy);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("F0 7E 7F 06 01 F7 90 3C 40"));
  view->CopyListing();
  EXPECT_TRUE(WaitFor([&] { return !view->Working(); }));
  EXPECT_TRUE(QGuiApplication::clipboard()->text().contains(QLatin1String("\n00007:  90 3C 40 Note On")));
  EXPECT_FALSE(QGuiApplication::clipboard()->text().contains(QLatin1String("\n0000A:")));
  view->bytes()->Go(0);
  TypeText(view->Search(), QStringLiteral("PAD"));
  EXPECT_TRUE(WaitFor([&] { return !view->Working() && view->messages()->SelectedLines().first == 3; }));
  frame().RunCommand(CommandId::FilePrint);
  EXPECT_GT(QFileInfo(FromUtf8(Path("messages.pdf"))).size(), 1000);
  const auto asked = program_->PromptLog().size();
  view->ChangeByte();
  EXPECT_EQ(program_->PromptLog().size(), asked) << "messages are not changed as a whole";
  PressKey(view->messages(), Qt::Key_Return);
  EXPECT_FALSE(view->ShowsMessages());
  EXPECT_EQ(view->bytes()->Selection(), (std::pair<std::size_t, std::size_t>(12, 14)));
}

TEST_F(ViewerTest, FindsTextAndBytesAndGoesOn) {
  Start({"ok"});
  Raw(std::string("\xF0\x43PADS\x01\x02PAD\x7E\xF7\xF0\x43\x00\x01PAD", 20));
  TZKView* view = View();
  ListingView* bytes = view->bytes();
  frame().RunCommand(CommandId::EditFind);
  EXPECT_TRUE(view->Search()->hasFocus());
  TypeText(view->Search(), QStringLiteral("PAD"));
  EXPECT_TRUE(WaitFor([&] {
    return !view->Working() && bytes->Selection() == std::pair<std::size_t, std::size_t>{2, 4};
  }));
  const auto next = [&](std::size_t at) {
    PressKey(bytes, Qt::Key_F3);
    return WaitFor([&] { return !view->Working() && bytes->Selection().first == at; });
  };
  EXPECT_TRUE(next(8));
  EXPECT_TRUE(next(2)) << "a text at the very end is not found; it goes on at the beginning";
  view->Search()->clear();
  TypeText(view->Search(), QStringLiteral("01 50 41 44"));
  EXPECT_TRUE(WaitFor([&] { return !view->Working() && bytes->Selection().first == 16; })) << "bytes are found there";
  view->Search()->clear();
  TypeText(view->Search(), QStringLiteral("nowhere"));
  EXPECT_TRUE(WaitFor([&] { return !view->Working() && view->Search()->Hits() == 0; }));
  EXPECT_EQ(Log().find("not found"), std::string::npos) << "nobody is asked while typing";
  view->FindNext();
  EXPECT_TRUE(WaitFor([&] { return Log().find("nowhere was not found in the SysEx.") != std::string::npos; })) << Log();
  // Another viewer offers it again.
  view->close();
  Settle();
  Bank();
  EXPECT_EQ(View()->Search()->text(), QStringLiteral("nowhere"));
}

TEST_F(ViewerTest, ComparesWithAFileAndPrints) {
  Start({"file " + Path("other.syx"), "ok", "ok", "file " + Path("listing.pdf"), "file " + Path("none.syx"), "ok"});
  TZKBank* bank = Bank();
  std::string other(reinterpret_cast<const char*>(bank->dataFile()->body), 4096);
  other[7] = static_cast<char>(other[7] ^ 1);
  ASSERT_TRUE(WriteFileAtomically(Path("other.syx"), std::string_view(other)).ok());
  TZKView* view = View();
  view->ShowFormatted(true);
  EXPECT_EQ(view->bytes()->Listing().mode(), ListingMode::Formatted);
  EXPECT_EQ(view->bytes()->Listing().Size(), 4096U);
  view->OnCompare();
  EXPECT_EQ(view->bytes()->Listing().mode(), ListingMode::Raw);
  view->ShowFormatted(true);
  EXPECT_EQ(view->bytes()->Listing().mode(), ListingMode::Raw) << "not while comparing";
  KeepScreenshot(view, QStringLiteral("sysex-view-compared"));
  view->ShowMismatchedBytes();
  EXPECT_NE(Log().find("Compare sizes are different"), std::string::npos);
  EXPECT_NE(Log().find("7 (0x0007)"), std::string::npos) << Log();
  EXPECT_EQ(view->bytes()->Current(), 7U);
  frame().RunCommand(CommandId::FilePrint);
  EXPECT_GT(QFileInfo(FromUtf8(Path("listing.pdf"))).size(), 1000);
  view->OnCompare();
  EXPECT_FALSE(view->bytes()->Listing().comparing());
  view->OnCompare();
  EXPECT_FALSE(view->bytes()->Listing().comparing()) << "a file that is not there is told: " << Log();
}

TEST_F(ViewerTest, GoesWithItsDataAndThereIsOneForEach) {
  Start();
  TZKBank* bank = Bank();
  QPointer<TZKView> view = View();
  EXPECT_EQ(frame().ActiveChild(), view);
  EXPECT_FALSE(frame().ActionOf(CommandId::ViewSysEx)->isEnabled()) << "a view has no view";
  frame().windows().Activate(bank);
  EXPECT_EQ(View(), view.data());
  // What comes from the instrument is shown, and what the bank lost is no more.
  frame().RunCommand(CommandId::MidiGet);
  ASSERT_TRUE(Idle(bank));
  while (bank->document().CanUndo()) frame().RunCommand(CommandId::EditUndo);
  EXPECT_EQ(view->bytes()->Listing().Size(), 0U);
  KeepScreenshot(view, QStringLiteral("sysex-view-empty"));
  frame().RunCommand(CommandId::EditRedo);
  EXPECT_EQ(view->bytes()->Listing().Size(), 4104U);
  bank->document().history().MarkSaved();
  bank->close();
  Settle();
  EXPECT_TRUE(view.isNull());
  // The viewer alone closes without its data; both at once.
  bank = Bank();
  view = View();
  view->close();
  Settle();
  EXPECT_NE(frame().ActiveChild(), nullptr);
  frame().windows().Activate(bank);
  view = View();
  bank->document().history().MarkSaved();
  EXPECT_TRUE(frame().windows().CloseAll());
  Settle();
  EXPECT_TRUE(view.isNull());
  // The end of the program with a viewer open.
  Raw("\xF0\x7E\x7F\x06\x01\xF7");
  EXPECT_NE(View(), nullptr);
}

TEST_F(ViewerTest, ALargeFileScrollsAtOnce) {
  Start();
  std::string large(std::size_t{32} << 20, '\x11');
  for (std::size_t at = 0; at < large.size(); at += 4096) large[at] = '\xF0', large[at + 4095] = '\xF7';
  Raw(large);
  TZKView* view = View();
  ListingView* bytes = view->bytes();
  ProbedApplication::TakeLongest();
  PressKey(bytes, Qt::Key_End, Qt::ControlModifier);
  EXPECT_EQ(bytes->Current(), large.size() - 1);
  for (int value = 0; value < bytes->verticalScrollBar()->maximum(); value += 200'000) {
    bytes->verticalScrollBar()->setValue(value);
    Settle();
  }
  bytes->Go(0);
  view->Search()->setFocus();
  TypeText(view->Search(), QStringLiteral("F0 11 12"));
  EXPECT_TRUE(WaitFor([&] { return view->Search()->Hits() == 0; }, 20'000));
  view->ShowMessages(true);
  EXPECT_TRUE(WaitFor([&] { return !view->messages()->rows().Finding(); }, 20'000));
  EXPECT_EQ(view->messages()->model()->rowCount(), static_cast<int>(large.size() / 4096));
  const Stall slowest = ProbedApplication::TakeLongest();
  EXPECT_LE(slowest.us, LongestEventAllowedUs()) << slowest.what;
}

TEST_F(ViewerTest, AFileDroppedOnAViewerIsOpenedForViewing) {
  Start();
  Bank();
  TZKView* view = View();
  ASSERT_TRUE(WriteFileAtomically(Path("dropped.syx"), std::string_view("\xF0\x7E\x7F\x06\x01\xF7")).ok());
  ASSERT_TRUE(DropFiles(view, {Path("dropped.syx")}));
  EXPECT_TRUE(WaitFor([&] {
    auto* shown = qobject_cast<TZKView*>(frame().ActiveChild());
    return shown && shown != view && shown->bytes()->Listing().Size() == 6;
  }));
}

}  // namespace
}  // namespace tonalith
