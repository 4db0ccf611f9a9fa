#pragma once

class QMainWindow;
class QString;

namespace tonalith {

class ChildWindows;
class CommandMenus;
class Prompts;
class Simulation;
class StudioPorts;
class ZKBasics;
class ZKStudioDoc;

// What the parts of the main window share.  All of it outlives them.
struct FrameContext {
  QMainWindow& window;  // dialogs stand over it
  ZKBasics& basics;
  ZKStudioDoc& studio;
  StudioPorts& ports;
  Simulation* simulation;  // null: real instruments
  CommandMenus& menus;
  ChildWindows& children;

  Prompts& prompts() const;
  // A sentence for the status line.
  void Status(const QString& text) const;
};

}  // namespace tonalith
