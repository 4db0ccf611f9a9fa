#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/prompts.h"
#include "studio/new_data.h"
#include "studio/studio_document.h"

class QWidget;

namespace tonalith {

class Settings;
class WindowCounters;
struct AutoConfigServices;

// A document that is open somewhere, under the kind of data it is of.
struct OpenDocument {
  const ZKDrvList* driver = nullptr;  // the kind of data; of data of several kinds the instrument
  std::string title;                  // UTF-8
  bool changed = false;               // differs from its file
  bool unsent = false;                // differs from the instrument
  int percent = -1;                   // of a transfer; below 0: none
  std::function<void()> activate;
};

// How the user left the studio's window; outlives it.
struct StudioView {
  // Rows of the tree that were opened (true) or closed: instruments by their names, kinds of data by both names.
  std::map<std::string, bool> rows;
  std::string search;  // UTF-8
};

// What the studio window asks of the program.
class StudioWindowHost {
 public:
  StudioView& view() { return view_; }

  virtual ~StudioWindowHost() = default;
  // Opens a window on new data of this driver; with `get` its receive is started at once.
  virtual void OpenDriver(ZKDrvList* driver, bool get) = 0;
  // Opens a window on new data of this driver that is filled from a file; asks for the file.
  virtual void OpenDriverFromFile(ZKDrvList* driver, NewDataKind kind) = 0;
  // An instrument came, went or got other ports or channels: saves the studio, brings open data up to date.
  virtual void StudioEdited() = 0;
  virtual StudioPorts* ports() = 0;
  virtual Prompts& prompts() = 0;
  virtual Settings& settings() = 0;
  virtual std::string ResourceFolder() = 0;
  virtual std::string PreferencesIni() = 0;
  // What is open of the studio's instruments.
  virtual std::vector<OpenDocument> OpenDocuments() { return {}; }
  // For the configuration report; null: nobody counts.
  virtual const WindowCounters* windowCounters() { return nullptr; }
  // Shows a search for all instruments.
  virtual void ShowConnected() {}
  // What a search for an instrument needs; null when there is none.
  virtual const AutoConfigServices* autoConfig() = 0;

 private:
  StudioView view_;
};

}  // namespace tonalith
