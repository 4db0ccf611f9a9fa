#pragma once

#include <QObject>
#include <string>
#include <utility>
#include <vector>

#include "app/frame_context.h"

namespace tonalith {

// Opens an address on the web, as soon as the main loop runs.  Only http and https; others are left alone.  Any thread.
void OpenWebAddress(QObject* context, const std::string& url);

// The Help menu: manuals, keys, addresses on the web, the program's own page.
class HelpCommands final : public QObject {
  Q_OBJECT

 public:
  explicit HelpCommands(const FrameContext& frame);

  // Titles and files of the manuals; with `show` they stand in the Help menu.
  void SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show);

 private:
  void SetupURLs();
  void OpenManual(std::size_t number);
  void OnHelpKeys();
  void OnAppAbout();

  FrameContext frame_;
  std::vector<std::string> manuals_;  // files
  std::string onlineUrl_;
  std::string updatesUrl_;
};

}  // namespace tonalith
