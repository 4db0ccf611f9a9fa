#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "app/frame_context.h"
#include "document/recovery.h"

namespace tonalith {

class DocumentRegistry;
class DocumentWindow;
class DocumentWindows;

// Keeps what nobody has saved: in the recovery folder within ten seconds of an edit, always, so that the next start can
// offer it however this program ends; and in the files themselves every so many minutes, when the preferences say so.
class Autosave final : public QObject {
  Q_OBJECT

 public:
  // Between two looks at the documents while one of them is modified: an edit is kept well within ten seconds.
  static constexpr std::chrono::milliseconds kInterval{5000};

  // The documents must go before this does.  All of it must outlive this.
  Autosave(const FrameContext& frame, const DocumentRegistry& registry, DocumentWindows& windows);

  // What the timer does; `passed` since it did so last.
  void Look(std::chrono::milliseconds passed);
  RecoveryFolder& folder() { return folder_; }
  // Every unsaved change, now.
  void Keep();
  // Asks what shall become of what earlier sessions left.  Nothing is removed unless the user says so or has it open.
  void Offer();
  // Keeps every unsaved change as it is at this moment; nothing is shown and no work is given up.  A sentence about it,
  // empty when there was nothing to keep.
  std::string KeepNow();
  // The program ends without questions: what is not saved is left to the next start.  Work that keeps documents busy is
  // given up.
  void LeaveForNextStart();

 private:
  void ForEach(const std::function<void(DocumentWindow&)>& action) const;
  void ForEachModified(const std::function<void(DocumentWindow&)>& action) const;
  void Start();
  void SaveFiles();
  void Recover(const std::vector<RecoverableFile>& files);
  Result RecoverOne(const RecoverableFile& file);
  void TellOnce(const std::string& problem);

  FrameContext frame_;
  const DocumentRegistry& registry_;
  DocumentWindows& windows_;
  RecoveryFolder folder_;
  QTimer timer_;
  std::chrono::milliseconds sinceSave_{0};
  std::string told_;  // the last problem
  bool saving_ = false;
  bool ending_ = false;
};

}  // namespace tonalith
