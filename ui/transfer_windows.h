#pragma once

#include <QDialog>
#include <memory>
#include <vector>

#include "script/transfer_engine.h"
#include "ui/plain_text.h"

class QListWidget;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTabWidget;
class QTimer;

namespace tonalith {

// What the receive window shows of one receive.
class ReceivePane final : public QWidget {
  Q_OBJECT

 public:
  explicit ReceivePane(std::shared_ptr<Transfer> transfer, QWidget* parent = nullptr);
  void Refresh();
  bool Over() const { return !transfer_->Running(); }
  // Messages that the user should have a chance to read.
  bool HasMessages() const { return hasMessages_; }
  // Somebody has to do something: start the dump at the instrument, or unplug a cable that makes a loop.
  bool NeedsSomebody() const { return needsSomebody_; }
  const std::shared_ptr<Transfer>& transfer() const { return transfer_; }

 private:
  std::shared_ptr<Transfer> transfer_;
  PlainLabel* receiving_;
  PlainLabel* inPort_;
  PlainLabel* outPort_;
  PlainLabel* channel_;
  PlainLabel* bytes_;
  PlainLabel* hint_;
  QProgressBar* progress_;
  QPlainTextEdit* messages_;
  PlainLabel* loop_;
  QString shownMessages_;
  bool hasMessages_ = false;
  bool needsSomebody_ = false;
  int loopLooks_ = 0;  // how often in a row it looked like a loop
};

// The receive window: one for all receives, a page each.  It comes to the front when it is asked for, or when somebody
// has to act.  A page goes when its receive is over; with messages on it, it stays until the user has read them.
class ZKMidiInStatus final : public QDialog {
  Q_OBJECT

 public:
  explicit ZKMidiInStatus(QWidget* parent = nullptr);
  void Add(const std::shared_ptr<Transfer>& transfer);
  // A transfer has ended.
  void TransferClosed();
  // Brings the page of a transfer to the front; false: it has none.
  bool ShowPage(const std::shared_ptr<Transfer>& transfer);
  int Pages() const;

 signals:
  // The transfer is over and has left messages that nobody has seen.
  void Unread(const std::shared_ptr<Transfer>& transfer);

 protected:
  void reject() override;  // Escape and the close box put it away; the transfers go on

 private:
  void Press(TransferState button);
  void Refresh();
  void Leave();
  ReceivePane* Page(int index) const;
  int PageOf(const std::shared_ptr<Transfer>& transfer) const;
  void ShowInFront();

  QTabWidget* pages_;
  QPushButton* ok_;
  QPushButton* cancel_;
  QPushButton* cancelAll_;
  QTimer* timer_;
};

// The transmit window: progress of what is being sent on one port.  Hidden until it is asked for; it goes when nothing
// is sent any more.
class ZKMidiOutStatus final : public QDialog {
  Q_OBJECT

 public:
  ZKMidiOutStatus(TransferEngine& engine, QWidget* parent = nullptr);
  void ShowInFront();

 signals:
  // The user ends what is sent on this port.
  void Cancelled(int port);

 private:
  void Refresh();
  void Cancel();

  TransferEngine& engine_;
  PlainLabel* port_;
  QProgressBar* progress_;
  QTimer* timer_;
};

// Lists the output ports, all selected; the answer is a flag for each port.
class ZKCancelTransmit final : public QDialog {
  Q_OBJECT

 public:
  explicit ZKCancelTransmit(const std::vector<std::string>& portNames, QWidget* parent = nullptr);
  std::vector<bool> Selected() const;

 private:
  QListWidget* list_;
};

}  // namespace tonalith
