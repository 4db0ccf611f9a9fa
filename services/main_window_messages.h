#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/message_numbers.h"
#include "services/script_router.h"

namespace tonalith {

class ZKAppVars;

// The messages of the main window, by number.  What needs no window (the application variables) is answered here, with
// or without a main window; the rest is carried out by whoever plugs in, as typed calls.  User-interface thread.
class MainWindowMessages {
 public:
  // A file straight to an instrument: port from 1, 0 for the one the data names.  False: nothing was begun.
  using FileSender = std::function<bool(const std::string& path, int port)>;
  // What only a window does.  What is empty is answered as without a main window.
  struct Window {
    std::function<void()> openUpdateDialog;
  };

  // Registers as the main window of the scripts.  An empty `transmitFile` sends nothing.  The others outlive this.
  MainWindowMessages(ScriptRouter& router, ZKAppVars& appVars, FileSender transmitFile = {});
  MainWindowMessages(const MainWindowMessages&) = delete;
  MainWindowMessages& operator=(const MainWindowMessages&) = delete;

  void SetWindow(Window window) { window_ = std::move(window); }

  // The answer to a message; 0 for what nobody answers, -1 for a query whose answer without a main window is -1.
  // TransmitFile takes the address of a text that ends with 0 and lives during the call.
  std::int64_t SendMessage(MainWindowMessage message, std::int64_t wParam, std::int64_t lParam);
  // The files a remote trigger sends, and what SendMessage(TransmitFile) comes down to.
  bool TransmitFile(const std::string& path, int port);

 private:
  ZKAppVars& appVars_;
  FileSender transmitFile_;
  Window window_;
  ScriptRouter::Registration registration_;
};

}  // namespace tonalith
