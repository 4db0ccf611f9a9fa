#include <gtest/gtest.h>

#include "control_walk.h"
#include "stall_probe.h"

#include "ui/style/look.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  tonalith::ProbedApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  tonalith::SetLook(tonalith::Look::Light);
  new tonalith::ControlWatch(&application);
  return RUN_ALL_TESTS();
}
