#pragma once

#include <gtest/gtest.h>

#include <QPalette>
#include <QString>
#include <Qt>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/application.h"
#include "app/child_windows.h"
#include "app/frame_parts.h"
#include "bank/ui/bank_window.h"
#include "services/program.h"
#include "services/zkbasics.h"
#include "tests/platform/files_fixture.h"

class QWidget;

namespace tonalith {

// Input as a user gives it, and waiting while the main loop runs.
void PressKey(QWidget* widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
// To whatever has the focus, a shortcut of the window included.
void PressShortcut(QWidget* window, Qt::Key key, Qt::KeyboardModifiers modifiers);
void TypeText(QWidget* widget, const QString& text);
void ClickMouse(QWidget* widget);
bool MakeActive(QWidget* window);
bool WaitFor(const std::function<bool()>& done, int milliseconds = 3000);
void Settle();
// Keeps a picture of a widget among the artefacts of the test run: NAME.png, NAME-200.png (at twice the size),
// NAME-dark.png and NAME-dark-200.png (with the dark palette), in the folder "artefacts" of the build tree.
void KeepScreenshot(QWidget* widget, const QString& name);
// The palette of the dark pictures; a test may set it for the application.
QPalette DarkPalette();
bool DropFiles(QWidget* target, const std::vector<std::string>& files);

// The program with simulated instruments in folders of its own.
class ProgramFixture : public FilesTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Starts the program; `answers` are given to its questions in order.  Options as on the command line.
  void Start(const std::vector<std::string>& answers = {}, std::vector<std::string> options = {"--fast-cables"});
  void Stop();
  CommandLine Line(std::vector<std::string> options) const;
  // Opens a window on new data of a driver and, with `get`, receives it.
  TZKBank* Open(const char* instrument, const char* type, bool get);
  // Opens a window on a bank of 1,000 patches of 256 bytes, of a data type of its own; the names are as long as they
  // can be.
  TZKBank* OpenThousandPatches();
  // Waits until the window's data is free again.
  bool Idle(TZKBank* window, int milliseconds = 3000);
  std::string LogText() const;
  CMainFrame& frame() { return *program_->frame(); }
  FrameParts& parts() { return frame().parts(); }

  std::unique_ptr<CZKApp> program_;
};

}  // namespace tonalith
