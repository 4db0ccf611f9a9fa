#pragma once

#include <QObject>
#include <QTimer>

#include "platform/jobs.h"
#include "services/transfer_desk.h"
#include "store/library/library_document.h"

namespace tonalith {

class WindowContext;

// Lets the instrument play an entry: its patch is sent to the edit buffer, then the audition tones sound.
class LibraryPlayer final : public QObject {
  Q_OBJECT

 public:
  LibraryPlayer(ZKLibDoc& library, WindowContext& context, QObject* parent);
  ~LibraryPlayer() override;

  // What a user went to with keys or mouse; plays it after a moment when that is wanted.
  void GoneTo(EntryId entry);
  // A failure says why nothing is played.
  Result Play(EntryId entry);
  void Stop();

 signals:
  void Say(const QString& text);

 private:
  void Sent(const DeskEvent& event);
  void Drop();

  ZKLibDoc& library_;
  WindowContext& context_;
  QTimer wait_;
  EntryId waiting_ = 0;
  TransferDesk::Job job_;
  DataFilePtr sent_;
  Receiver receiver_;
};

}  // namespace tonalith
