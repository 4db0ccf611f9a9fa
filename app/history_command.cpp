#include "app/history_command.h"

#include <QMainWindow>

#include "app/command_menus.h"
#include "ui/instrument_history_window.h"

namespace tonalith {

HistoryCommand::HistoryCommand(const FrameContext& frame, WindowContext& context) : frame_(frame), context_(context) {
  frame_.menus.Register(CommandId::MidiHistory, {[this] { Show(); }});
}

HistoryCommand::~HistoryCommand() {
  delete window_.data();
}

void HistoryCommand::Show() {
  if (!window_) {
    window_ = new InstrumentHistoryWindow(context_, &frame_.window);
    window_->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(window_, &InstrumentHistoryWindow::Said, &frame_.window,
                     [frame = frame_](const QString& text) { frame.Status(text); });
  }
  window_->show();
  window_->raise();
  window_->activateWindow();
}

}  // namespace tonalith
