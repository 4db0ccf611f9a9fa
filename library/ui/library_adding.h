#pragma once

#include <QObject>
#include <QTimer>
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/jobs.h"
#include "store/library/library_add.h"

namespace tonalith {

class WindowContext;
class ZKLibDoc;

// Adds what files and folders hold: they are read on another thread, and what is read is added a piece at a time, so
// that nothing stops meanwhile.  All of it is one entry of the history, also when it is stopped before its end.
class LibraryAdding final : public QObject {
  Q_OBJECT

 public:
  // What a file holds; called on another thread.
  using Reader = std::function<Result(const std::string& path, std::vector<DataFilePtr>* data, std::string* note)>;

  LibraryAdding(ZKLibDoc& library, WindowContext& context, QObject* parent);
  ~LibraryAdding() override;

  void Start(const std::vector<std::string>& sources, Reader reader, LibraryAddOptions options);
  // What was added stays.
  void Stop();
  bool Running() const { return shared_ != nullptr; }
  // "Reading 3 of 20 files, 96 patches added".
  QString Progress() const;

 signals:
  void Changed();
  // It is over; the sentence says what became of all.
  void Over(const QString& sentence, const std::vector<EntryId>& added);

 private:
  struct Shared;
  void Poll();
  bool Take();
  void End();

  ZKLibDoc& library_;
  WindowContext& context_;
  QTimer timer_;
  Receiver receiver_;
  std::shared_ptr<Shared> shared_;
  std::unique_ptr<LibraryAdder> adder_;
  std::size_t unusable_ = 0;  // files
  std::string problem_;       // the first of them
  bool taking_ = false;       // a question may be open
};

}  // namespace tonalith
