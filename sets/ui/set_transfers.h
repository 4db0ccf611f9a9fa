#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/jobs.h"
#include "services/transfer_desk.h"
#include "store/sets/set_transfer.h"

namespace tonalith {

class WindowContext;
class ZKGrpDoc;

// Gets and sends of a Set's window: components that go over the same ports are one job, jobs on others run beside it.
class SetTransfers final {
 public:
  struct Host {
    std::function<void(const std::string& sentence)> say;
    // Some of it moved on.
    std::function<void()> progress;
    // What a component would be if its Get ended now; null: that is over.
    std::function<void(int component, DataFilePtr soFar, int done, int all)> soFar;
  };

  SetTransfers(ZKGrpDoc& set, WindowContext& context, std::string title, Host host)
      : set_(set), context_(context), title_(std::move(title)), host_(std::move(host)) {}

  // `chosen` empty: everything.
  void StartGet(const std::vector<int>& chosen);
  // `rank`: how far a component stands behind those it plays.
  void StartSend(const std::vector<int>& chosen, const SetRank& rank);
  bool Running() const { return !jobs_.empty(); }
  // "getting 2 of 9"; empty: nothing runs.
  std::string ProgressText() const;
  // Ends it; what came stays.
  void Cancel();

 private:
  struct Job {
    TransferDesk::Job handle;
    std::shared_ptr<SetReport> report;
    std::vector<int> components;
    std::size_t arrived = 0;  // of a Get: how many have ended
    bool ended = false;
  };

  bool Begin(const SetPlan& plan, bool chosen, bool get);
  void Start(std::size_t job, DeskRequest request);
  void Happened(std::size_t job, const DeskEvent& event);
  void JobEnded(std::size_t job, const DeskResult& result);
  void AllEnded();
  std::vector<std::vector<int>> ByPorts(const std::vector<int>& components, bool get) const;

  ZKGrpDoc& set_;
  WindowContext& context_;
  std::string title_;
  Host host_;
  Receiver receiver_;  // events of the desk reach only a window that lives
  std::vector<Job> jobs_;
  std::vector<std::string> sentences_;
  bool get_ = false, starting_ = false;
};

}  // namespace tonalith
