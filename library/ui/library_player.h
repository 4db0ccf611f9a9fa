#pragma once

#include <QObject>
#include <QTimer>

#include "store/library/library_document.h"
#include "ui/audition_send.h"

namespace tonalith {

class WindowContext;

// Lets the instrument play an entry: its patch is sent to the edit buffer, then the audition tones sound.
class LibraryPlayer final : public QObject {
  Q_OBJECT

 public:
  LibraryPlayer(ZKLibDoc& library, WindowContext& context, QObject* parent);

  // What a user went to with keys or mouse; plays it after a moment when that is wanted.
  void GoneTo(EntryId entry);
  // A failure says why nothing is played.
  Result Play(EntryId entry);
  void Stop();

 signals:
  void Say(const QString& text);

 private:
  void Sent(const DeskResult& result, const DataFile& sent);
  void Drop();

  ZKLibDoc& library_;
  WindowContext& context_;
  QTimer wait_;
  EntryId waiting_ = 0;
  AuditionSend sending_;
};

}  // namespace tonalith
