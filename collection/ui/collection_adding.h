#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "collection/collection_add.h"
#include "platform/cancel_token.h"
#include "platform/jobs.h"

namespace tonalith {

class WindowContext;

// Adds what files and folders hold: they are read on another thread, and stored together when all are read, as one
// entry of the history.
class CollectionAdding final : public QObject {
  Q_OBJECT

 public:
  // What a file holds; called on another thread.
  using Reader = std::function<Result(const std::string& path, std::vector<CollectionItem>* items, std::string* note)>;

  CollectionAdding(ZKDBaseDoc& collection, WindowContext& context, QObject* parent)
      : QObject(parent), collection_(collection), context_(context) {}
  ~CollectionAdding() override;

  void Start(const std::vector<std::string>& sources, Reader reader, CollectionAddOptions options);
  // What was read so far is stored.
  void Stop();
  bool Running() const { return work_ != nullptr; }

 signals:
  void Changed();
  // It is over; the sentence says what became of all.
  void Over(const QString& sentence, const std::vector<EntryId>& stored);

 private:
  struct Work;
  void End(const CollectionAddOptions& options);

  ZKDBaseDoc& collection_;
  WindowContext& context_;
  Receiver receiver_;
  std::shared_ptr<Work> work_;
};

}  // namespace tonalith
