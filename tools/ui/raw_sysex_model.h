#pragma once

#include <QAbstractTableModel>
#include <vector>

#include "tools/raw_sysex_document.h"
#include "tools/sysex_words.h"

namespace tonalith {

// The messages of raw SysEx bytes, a row each.
class RawSysExModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kNumber = 0, kOffset, kLength, kHolds, kBytes, kColumns };

  // Takes what the document knows of its bytes, or looks.  Both must outlive the model.
  RawSysExModel(RawSysExDocument& document, const ZKStudioDoc& studio, QObject* parent);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  // What is known of the studio is read again at the next row.
  void StudioChanged();
  // Bytes of the document were changed.
  void BytesChanged();
  // The piece of data that a message belongs to; null: nobody knows the message.
  const SysExName* PieceAt(int row) const;
  // What a message holds and its first bytes, for a search.
  QString TextOf(int row) const;
  const RawSysExDocument::Message& RowAt(int row) const { return document_.messages()[static_cast<std::size_t>(row)]; }

 private:
  const SysExName* PieceOf(const RawSysExDocument::Message& message) const;
  QString NameOf(const RawSysExDocument::Message& message) const;
  // Looks again at what stands there, and at pieces and unknown messages around it.
  void NameAnew(RawSysExDocument::Range range);

  RawSysExDocument& document_;
  const ZKStudioDoc& studio_;
  std::vector<SysExName> names_;  // by offset
  int rows_ = 0;                  // that the views know of
  mutable SysExWords words_;      // of the rows that are shown
};

}  // namespace tonalith
