#include "app/first_steps.h"

#include <QCoreApplication>
#include <QMainWindow>
#include <QProcess>
#include <QTimer>

#include "app/autosense_search.h"
#include "app/command_menus.h"
#include "app/first_start.h"
#include "app/studio_commands.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "services/paths.h"
#include "services/program.h"
#include "studio/studio_document.h"
#include "studio/ui/studio_window.h"

namespace tonalith {

namespace {

constexpr char kSection[] = "Application";
constexpr char kKey[] = "First Start Shown";

}  // namespace

FirstSteps::FirstSteps(const FrameContext& frame, StudioCommands& studio) : frame_(frame), studio_(studio) {
  frame_.menus.Register(CommandId::HelpContents, {[this] { Show(); }});
}

FirstSteps::~FirstSteps() {
  delete page_.data();
}

void FirstSteps::Show() {
  if (page_) {
    page_->raise();
    return page_->activateWindow();
  }
  FirstStartFacts facts;
  facts.inputs = frame_.ports.InputPortNames().size();
  facts.outputs = frame_.ports.OutputPortNames().size();
  facts.data = frame_.program.paths().MainGetDataPath();
  facts.simulated = frame_.simulation != nullptr;
  page_ = new FirstStartPage(facts, frame_.studio, *studio_.autoSense().services(), &frame_.window);
  page_->setAttribute(Qt::WA_DeleteOnClose);
  page_->setWindowModality(Qt::WindowModal);
  connect(page_, &FirstStartPage::Added, &studio_, [this] {
    studio_.StudioEdited();
    studio_.Refresh();
  });
  connect(page_, &FirstStartPage::TrySimulated, this, &FirstSteps::RestartSimulated);
  connect(page_, &FirstStartPage::Get, &studio_, [this](ZKDrvList* driver) { studio_.OpenDriver(driver, true); });
  // A program that is ended while they are open asks again.
  connect(page_, &QDialog::finished, this, [this] { SetShown(true); });
  page_->show();
}

bool FirstSteps::WasShown() const {
  return qEnvironmentVariableIsSet("TONALITH_PROMPT_SCRIPT") ||
         IniFile(frame_.program.paths().GetZKIni()).GetInt(kSection, kKey) != 0;
}

void FirstSteps::SetShown(bool shown) {
  IniFile ini(frame_.program.paths().GetZKIni());
  ini.SetInt(kSection, kKey, shown ? 1 : 0);
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
}

void FirstSteps::BeginWithoutInstruments() {
  if (!WasShown() && !FileExists((frame_.studio.paths().data / kStudioFileName).string()))
    frame_.studio.DrvSaveSetup(0);
}

void FirstSteps::ShowOnce() {
  if (WasShown() || !frame_.studio.instruments().empty()) return;
  QTimer::singleShot(0, this, &FirstSteps::Show);
}

// The same program with virtual cables instead of this one.
void FirstSteps::RestartSimulated() {
  QStringList arguments = QCoreApplication::arguments().mid(1);
  arguments << QStringLiteral("--simulated") << QStringLiteral("--new-instance");
  SetShown(false);
  if (!frame_.window.close()) return SetShown(true);
  if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), arguments))
    DebugLog("The program could not be started again.");
}

}  // namespace tonalith
