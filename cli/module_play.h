#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "chart/chart_peer.h"
#include "chart/inquiry.h"
#include "chart/instrument.h"
#include "cli/session.h"

namespace tonalith {

class ZKDrvList;

// Something that went another way than the chart says.
struct PlayMistake {
  ChartPlace at;
  std::string text;
  bool isError = true;
};

// Plays a module that is installed in `session` against an instrument made from its chart: each data type is got and
// sent over a virtual cable in virtual time, with another device number, with answers that say no, do not come or get
// lost, and its file is compared with the form in the chart, and
// every parameter with messages of its own is changed.  Where the chart says how it tells who it is, it is looked
// for as well.
class ModulePlay {
 public:
  // `name`: of the module.
  ModulePlay(Session& session, const ChartInstrument& chart, std::string name)
      : session_(session), chart_(chart), name_(std::move(name)) {}

  // All data types.
  void Play();

  const std::vector<PlayMistake>& mistakes() const { return mistakes_; }
  // "Program Bank: got, sent, refused ..." for each data type.
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  class Trial;
  ZKDrvList* DriverOf(const ChartType& type) const;
  void PlayType(const ChartType& type, ZKDrvList* driver);
  // What the messages of its parameters do; "" when it has none.
  std::string PlayChangesOf(const ChartType& type, ZKDrvList* driver);
  void PlayInquiry(const ChartInquiry& inquiry, ZKDrvList* instrument);
  bool Get(Trial* trial);
  bool Send(Trial* trial);
  bool Refused(Trial* trial);
  bool SilentGet(Trial* trial);
  bool SilentSend(Trial* trial);
  int Retries(const ChartType& type) const;
  bool LostSend(Trial* trial);
  bool Lost(Trial* trial);
  bool File(Trial* trial);
  bool Right(const Trial& trial, const char* what, const std::string& wrong);
  ChartPlace PlaceOf(const ChartType& type, bool sends) const;

  Session& session_;
  const ChartInstrument& chart_;
  const std::string name_;
  std::vector<PlayMistake> mistakes_;
  std::vector<std::string> lines_;
};

}  // namespace tonalith
