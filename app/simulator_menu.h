#pragma once

class QMenu;

namespace tonalith {

class Simulation;

// Fills a menu with the simulated instruments: their cables, and what somebody at their panels can have them send.
// `simulation` must outlive the menu.
void BuildSimulatorMenu(QMenu* menu, Simulation& simulation);

}  // namespace tonalith
