#pragma once

#include <QObject>
#include <vector>

#include "app/frame_context.h"
#include "ui/style/command_list.h"

namespace tonalith {

class StudioCommands;
class ZKDrvList;

// Everything that can be done, by typing a word of it: open documents, commands of the menus, instruments of the
// studio, and their data to get.
class CommandFinder final : public QObject {
  Q_OBJECT

 public:
  // Registers the command that opens the list.  The frame's window owns it; the studio's part is needed while the list
  // is open.
  CommandFinder(const FrameContext& frame, StudioCommands& studio);

  // What the list offers now.
  std::vector<CommandEntry> Entries();
  void Show();

 private:
  void AddDocuments(std::vector<CommandEntry>& entries);
  void AddCommands(std::vector<CommandEntry>& entries);
  void AddInstruments(std::vector<CommandEntry>& entries);
  void AddTypes(std::vector<CommandEntry>& entries);
  // Whether an instrument or a data type is still in the studio.
  bool Has(const ZKDrvList* node) const;

  FrameContext frame_;
  StudioCommands& studio_;
  CommandList* list_;
};

}  // namespace tonalith
