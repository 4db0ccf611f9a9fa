#include "app/first_steps.h"

#include <QCoreApplication>
#include <QMainWindow>
#include <QProcess>
#include <QTimer>

#include "app/command_menus.h"
#include "app/first_start.h"
#include "app/studio_commands.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "services/paths.h"
#include "services/program.h"
#include "studio/studio_document.h"
#include "studio/ui/studio_window.h"

namespace tonalith {

FirstSteps::FirstSteps(const FrameContext& frame, StudioCommands& studio) : frame_(frame), studio_(studio) {
  frame_.menus.Register(CommandId::HelpContents, {[this] { Show(); }});
}

void FirstSteps::Show() {
  if (page_) {
    page_->raise();
    return page_->activateWindow();
  }
  FirstStartFacts facts;
  facts.inputs = frame_.ports.InputPortNames();
  facts.outputs = frame_.ports.OutputPortNames();
  facts.instruments = frame_.program.paths().MainGetInstrPath();
  facts.data = frame_.program.paths().MainGetDataPath();
  facts.preferences = FolderOf(frame_.program.paths().GetZKIni());
  facts.simulated = frame_.simulation != nullptr;
  page_ = new FirstStartPage(facts, &frame_.window);
  page_->setAttribute(Qt::WA_DeleteOnClose);
  connect(page_, &FirstStartPage::AddInstrument, this, [this] { studio_.Show()->OfferInstruments(); });
  connect(page_, &FirstStartPage::TrySimulated, this, &FirstSteps::RestartSimulated);
  connect(page_, &FirstStartPage::GoToStudio, this, [this] { studio_.Show(); });
  page_->show();
}

void FirstSteps::ShowOnce() {
  constexpr char kSection[] = "Application";
  constexpr char kKey[] = "First Start Shown";
  if (frame_.simulation || qEnvironmentVariableIsSet("TONALITH_PROMPT_SCRIPT")) return;
  IniFile ini(frame_.program.paths().GetZKIni());
  if (ini.GetInt(kSection, kKey) != 0) return;
  ini.SetInt(kSection, kKey, 1);
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
  QTimer::singleShot(0, this, &FirstSteps::Show);
}

// The same program with virtual cables instead of this one.
void FirstSteps::RestartSimulated() {
  QStringList arguments = QCoreApplication::arguments().mid(1);
  arguments << QStringLiteral("--simulated") << QStringLiteral("--new-instance");
  if (!frame_.window.close()) return;
  if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), arguments))
    DebugLog("The program could not be started again.");
}

}  // namespace tonalith
