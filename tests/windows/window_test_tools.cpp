#include "window_test_tools.h"

#include <QApplication>
#include <QDir>
#include <QDropEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QPixmap>
#include <QPointer>
#include <QTest>
#include <QUrl>

#include "control_walk.h"
#include "data/data_records.h"
#include "data/patch_names.h"
#include "midi/midi_output.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "stall_probe.h"
#include "ui/style/colours.h"

namespace tonalith {

void PressKey(QWidget* widget, Qt::Key key, Qt::KeyboardModifiers modifiers) {
  QTest::keyClick(widget, key, modifiers);
}

void PressShortcut(QWidget* window, Qt::Key key, Qt::KeyboardModifiers modifiers) {
  QWidget* target = QApplication::focusWidget() ? QApplication::focusWidget() : window;
  QTest::keyClick(target, key, modifiers);
}

void TypeText(QWidget* widget, const QString& text) {
  QTest::keyClicks(widget, text);
}

void ClickMouse(QWidget* widget) {
  QTest::mouseClick(widget, Qt::LeftButton);
}

bool MakeActive(QWidget* window) {
  window->activateWindow();
  return QTest::qWaitForWindowActive(window, 2000);
}

bool WaitFor(const std::function<bool()>& done, int milliseconds) {
  return QTest::qWaitFor(done, milliseconds);
}

void Settle() {
  QTest::qWait(1);
}

namespace {

void SavePicture(QWidget* widget, const QString& name, qreal scale) {
  QPixmap picture(widget->size() * scale);
  picture.setDevicePixelRatio(scale);
  picture.fill(widget->palette().color(QPalette::Window));
  widget->render(&picture);
  const QString file = QStringLiteral(TONALITH_BINARY_DIR "/artefacts/") + name + QStringLiteral(".png");
  QDir().mkpath(QFileInfo(file).path());
  EXPECT_TRUE(picture.save(file)) << name.toStdString();
}

}  // namespace

QPalette DarkPalette() {
  return PaletteOf(true);
}

void KeepScreenshot(QWidget* widget, const QString& name) {
  // A window may end while it is looked at.
  const QPointer<QWidget> kept(widget);
  const Uncounted picture;
  QCoreApplication::processEvents();
  if (!kept) return;
  SavePicture(kept, name, 1);
  SavePicture(kept, name + QStringLiteral("-200"), 2);
  TheControlWatch()->Walk(*kept);
  const QPalette former = QApplication::palette();
  QApplication::setPalette(DarkPalette());
  QCoreApplication::processEvents();
  if (kept) SavePicture(kept, name + QStringLiteral("-dark"), 1);
  if (kept) SavePicture(kept, name + QStringLiteral("-dark-200"), 2);
  QApplication::setPalette(former);
  QCoreApplication::processEvents();
}

bool DropFiles(QWidget* target, const std::vector<std::string>& files) {
  QMimeData data;
  QList<QUrl> urls;
  for (const auto& file : files) urls << QUrl::fromLocalFile(QString::fromStdString(file));
  data.setUrls(urls);
  QDragEnterEvent enter({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(target, &enter);
  if (!enter.isAccepted()) return false;
  QDropEvent drop({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  return QApplication::sendEvent(target, &drop);
}

void ProgramFixture::SetUp() {
  ProbedApplication::TakeLongest();
  ::setenv("TONALITH_RESOURCES", TONALITH_BINARY_DIR "/share/tonalith", 1);
}

void ProgramFixture::TearDown() {
  const Stall longest = ProbedApplication::TakeLongest();
  RecordProperty("longest_event", longest.what + " " + std::to_string(longest.us) + " us");
  EXPECT_LE(longest.us, LongestEventAllowedUs()) << "microseconds of processor time for " << longest.what;
  Stop();
  ::unsetenv("TONALITH_PROMPT_SCRIPT");
}

CommandLine ProgramFixture::Line(std::vector<std::string> options) const {
  options.insert(options.begin(), {"--simulated", "--config-root", root_});
  return CommandLine::Parse(options);
}

void ProgramFixture::Start(const std::vector<std::string>& answers, std::vector<std::string> options) {
  std::string script;
  for (const auto& answer : answers) script += answer + "\n";
  ASSERT_TRUE(WriteFileAtomically(Path("answers"), std::string_view(script)).ok());
  ::setenv("TONALITH_PROMPT_SCRIPT", Path("answers").c_str(), 1);
  bool fast = false;
  for (const auto& option : options) fast = fast || option == "--fast-cables";
  program_ = std::make_unique<CZKApp>(Line(std::move(options)));
  ASSERT_TRUE(program_->Start());
  ASSERT_GE(program_->studio()->instruments().size(), 8U);
  MidiOut& out = program_->basics()->midi().out();
  for (int i = 0; fast && i < out.MaxOutPorts(); ++i) out.GetMidiOutPort(i)->SetSpeed(0);
  ASSERT_TRUE(MakeActive(program_->frame()));
}

void ProgramFixture::Stop() {
  if (program_) program_->End(true);
  program_.reset();
}

TZKBank* ProgramFixture::Open(const char* instrument, const char* type, bool get) {
  ZKDrvList* driver = program_->studio()->FindDriver(instrument, type);
  EXPECT_NE(driver, nullptr) << instrument << " " << type;
  if (!driver) return nullptr;
  parts().studio.OpenDriver(driver, get);
  auto* window = qobject_cast<TZKBank*>(frame().ActiveChild());
  if (get && window) {
    EXPECT_TRUE(Idle(window));
  }
  return window;
}

TZKBank* ProgramFixture::OpenThousandPatches() {
  constexpr int kPatches = 1000;
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& synth = *driver->synth;
  CopyText(synth.shortName, "Large");
  CopyText(synth.typeName, "Bank");
  synth.numVoices = kPatches;
  synth.voiceSize = synth.voiceBytes = 256;
  synth.fileSize = kPatches * 256;
  synth.nameLength = 24;
  synth.isBank = 1;
  DataFilePtr data(AllocDataNew(driver.get()));
  for (int patch = 0; patch < kPatches; ++patch)
    SetPatchName(data.get(), patch, "W\xD6RMEGEWITTERWOLKE " + std::to_string(10000 + patch * 7 % kPatches));
  return qobject_cast<TZKBank*>(parts().studio.OpenData(std::move(data)));
}

bool ProgramFixture::Idle(TZKBank* window, int milliseconds) {
  return WaitFor([window] { return !window->document().IsBusy(); }, milliseconds);
}

std::string ProgramFixture::LogText() const {
  std::string text;
  for (const auto& line : program_->PromptLog()) text += line + "\n";
  return text;
}

}  // namespace tonalith
