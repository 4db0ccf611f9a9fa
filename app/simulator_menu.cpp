#include "app/simulator_menu.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>

#include "app/command_menus.h"
#include "app/simulation.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

QString Text(const char* text) {
  return QCoreApplication::translate("SimulatorMenu", text);
}

std::vector<std::string> PanelKeys(VirtualStudio& studio, std::size_t place) {
  std::vector<std::string> keys;
  studio.With(place, [&keys](SimulatedInstrument& instrument) { keys = instrument.PanelKeys(); });
  return keys;
}

void BuildPanelMenu(QMenu* menu, VirtualStudio& studio) {
  for (std::size_t place = 0; place < studio.Count(); ++place) {
    QMenu* panel = menu->addMenu(WithLetter(place, MenuText(ShownUtf8(studio.PortName(place)))));
    std::size_t number = 0;
    for (const std::string& key : PanelKeys(studio, place))
      panel->addAction(WithLetter(number++, MenuText(ShownUtf8(key))), panel,
                       [&studio, place, key] { studio.PanelSend(place, key); });
  }
}

}  // namespace

void BuildSimulatorMenu(QMenu* menu, Simulation& simulation) {
  VirtualStudio& studio = simulation.studio();
  for (std::size_t place = 0; place < studio.Count(); ++place) {
    QAction* action = menu->addAction(WithLetter(place, MenuText(ShownUtf8(studio.PortName(place)))));
    action->setCheckable(true);
    action->setChecked(true);
    SetStatusTip(action, Text("Pull or plug this virtual cable"));
    QObject::connect(action, &QAction::toggled, menu,
                     [&simulation, place](bool on) { simulation.SetPlugged(place, on); });
  }
  menu->addSeparator();
  BuildPanelMenu(menu->addMenu(Text("&0 Send from the Panel")), studio);
}

}  // namespace tonalith
