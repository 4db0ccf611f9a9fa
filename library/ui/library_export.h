#pragma once

#include <QString>
#include <functional>
#include <vector>

#include "store/library/library_listing.h"
#include "store/ui/name_export.h"

namespace tonalith {

class LibraryView;

// The listed patches of a Library on paper, as files and on the clipboard; of several selected ones, those alone.
class LibraryExport final {
 public:
  using PortsOf = std::function<LibraryPorts(const DataFile& driver)>;
  LibraryExport(DocumentWindow& window, WindowContext& context, const ZKLibDoc& library, const LibraryView& view,
                PortsOf ports, std::function<void(const QString&)> say);

  static bool Has(CommandId command);
  // Why a command is off now; empty: it is on.
  QString Refusal(CommandId command) const;
  void Run(CommandId command);

 private:
  std::vector<EntryId> Meant() const;
  void PrintLibrary();

  DocumentWindow& window_;
  WindowContext& context_;
  const ZKLibDoc& library_;
  const LibraryView& view_;
  PortsOf ports_;
  NameExport names_;
};

}  // namespace tonalith
