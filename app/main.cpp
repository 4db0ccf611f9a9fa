#include <sys/socket.h>
#include <unistd.h>
#include <QApplication>
#include <csignal>
#include <future>
#include <iostream>
#include <system_error>

#include <QSocketNotifier>

#include "app/application.h"
#include "app/lost_display.h"
#include "platform/short_memory.h"
#include "platform/terminal_text.h"

namespace {

constexpr int kWrongUse = 2;

int signalPipe[2] = {-1, -1};

// Qt's own warnings name files and windows.
void OnQtMessage(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  tonalith::WriteErrorLine(qFormatLogMessage(type, context, text).toStdString());
}

void OnSignal(int) {
  const char byte = 1;
  if (write(signalPipe[1], &byte, 1) < 0) _exit(1);
}

// The last place where an event that runs out of memory ends; commands, files and queued calls say so themselves.
class Application final : public QApplication {
 public:
  using QApplication::QApplication;
  bool notify(QObject* receiver, QEvent* event) override {
    bool taken = false;
    const bool enough = tonalith::WithMemory([&] { taken = QApplication::notify(receiver, event); });
    if (!enough) tonalith::TerminalText(std::cerr) << "tonalith: " << tonalith::kShortMemory << "\n";
    return taken;
  }
};

constexpr char kHelp[] =
    "Usage: tonalith [options] [files]\n"
    "  --simulated        instruments on virtual cables instead of MIDI ports\n"
    "  --fast-cables      virtual cables without the pace of real ones\n"
    "  --config-root DIR  keep all folders of the program below DIR\n"
    "  --new-instance     do not hand the files over to a program that runs already\n"
    "  --debug            show each step of start and end\n"
    "  --extended         extended mode\n"
    "  --no-printer       do not look for printers\n"
    "  --help, --version\n";

// Simulated instruments need nothing of the windows, whose start takes its time too.  Invalid when no thread can be
// had.
std::future<tonalith::MadeInstruments> BeginInstruments() {
  try {
    return std::async(std::launch::async, tonalith::MadeInstruments::All);
  } catch (const std::system_error&) {
    return {};
  }
}

}  // namespace

int main(int argc, char** argv) {
  bool simulated = false;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const tonalith::TerminalText out(std::cout);
    simulated = simulated || word == "--simulated";
    if (word == "--help") return !(out << kHelp).Takes();
    if (word == "--version") return !(out << "Tonalith " TONALITH_VERSION "\n").Takes();
  }
  std::future<tonalith::MadeInstruments> instruments;
  if (simulated) instruments = BeginInstruments();
  qInstallMessageHandler(OnQtMessage);
  Application application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("tonalith"));
  QApplication::setDesktopFileName(QStringLiteral("com.corvane.Tonalith"));
  std::vector<std::string> words;
  for (const QString& word : QApplication::arguments().mid(1)) words.push_back(word.toUtf8().toStdString());
  auto commandLine = tonalith::CommandLine::Parse(words);
  commandLine.RefuseOthersThan(tonalith::CZKApp::kOptions);
  if (!commandLine.problem.empty()) {
    tonalith::WriteErrorLine("tonalith: " + commandLine.problem);
    return kWrongUse;
  }
  tonalith::CZKApp program(commandLine, std::move(instruments));
  if (program.HandOver()) return 0;

  // A request to end from outside takes the same way as the user's, without questions.
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) == 0) {
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &application);
    QObject::connect(notifier, &QSocketNotifier::activated, &application, [&program, notifier] {
      notifier->setEnabled(false);
      program.EndQuietly();
    });
    std::signal(SIGTERM, OnSignal);
    std::signal(SIGINT, OnSignal);
  }
  const tonalith::LostDisplay lost([&program] { return program.KeepUnsaved(); });
  return program.Run();
}
