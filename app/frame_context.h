#pragma once

class QMainWindow;
class QString;

namespace tonalith {

class ChildWindows;
class CommandMenus;
class Prompts;
class Simulation;
class StudioPorts;
class TransferStrip;
class Program;
class ZKStudioDoc;

// What the parts of the main window share.  All of it outlives them.
struct FrameContext {
  QMainWindow& window;  // dialogs stand over it
  Program& program;
  ZKStudioDoc& studio;
  StudioPorts& ports;
  Simulation* simulation;  // null: real instruments
  CommandMenus& menus;
  ChildWindows& children;
  TransferStrip& strip;

  Prompts& prompts() const;
  // A sentence for the status line.
  void Status(const QString& text) const;
};

// Why a command on the active window is off: none is open; empty when one is.
QString NoWindowSentence(const FrameContext& frame);

}  // namespace tonalith
