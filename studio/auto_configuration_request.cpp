#include <algorithm>

#include "data/hex_text.h"
#include "platform/log.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "studio/auto_configuration.h"
#include "studio/auto_sense_retries.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr std::int64_t kLookMs = 20;

// One request on one pair of ports, on a thread of its own.
class Try {
 public:
  Try(AutoConfigSearch& search, const std::string& inPort, const std::string& outPort, int channel)
      : inPort_(inPort), outPort_(outPort), engine_(search.line.transfers), clock_(search.clock()) {
    const int in = search.LocateInput(inPort), out = search.LocateOutput(outPort);
    data_.reset(DupForUser(search.task.request.get()));
    if (in < 0 || out < 0 || !data_ || search.Taken(outPort)) return;
    Synth& synth = *data_->synth;
    synth.midiInPort = static_cast<std::uint8_t>(in);
    synth.midiOutPort = static_cast<std::uint8_t>(out);
    synth.sysExChannel = static_cast<std::uint8_t>(channel);
    if (synth.patchBayFlags & kPatchBayManual) synth.patchBayFlags = 0;  // would ask the user at every try
    if (synth.midiChannelFollowsSysEx) synth.midiChannel = static_cast<std::uint8_t>(channel & 15);
    if (data_->midiInPortName) CopyText(data_->midiInPortName, data_->midiInPortNameSize, inPort);
    if (data_->midiOutPortName) CopyText(data_->midiOutPortName, data_->midiOutPortNameSize, outPort);
    over_ = false;
    thread_ = WorkerThread(clock_, [this] { Run(); });
  }
  ~Try() { Finish(); }
  // Ends it; what it sent and received is known afterwards.
  void Finish() {
    // The transfer may be about to begin, and can be cancelled only then.
    while (!over()) {
      Cancel();
      clock_.SleepMs(5);
    }
    thread_.Join();
  }
  Try(const Try&) = delete;
  Try& operator=(const Try&) = delete;

  const std::string& inPort() const { return inPort_; }
  const std::string& outPort() const { return outPort_; }
  bool over() const { return over_.load(); }
  bool succeeded() const { return succeeded_.load(); }
  bool asked() const { return asked_.load(); }  // something was sent
  // Something of an answer is there already.
  bool receiving() const {
    const auto transfer = over() ? nullptr : engine_->TransferOf(data_.get());
    return transfer && transfer->WindowState().received > 0;
  }
  void Cancel() {
    if (over()) return;
    if (const auto transfer = engine_->TransferOf(data_.get())) transfer->Cancel();
  }

 private:
  void Run() {
    TransferRequest request;
    request.dataFile = data_.get();
    request.quiet = true;
    std::shared_ptr<Transfer> transfer;
    const bool received = engine_->MidiIODataFile(request, &transfer) > 0 && transfer && transfer->Result().ok;
    const bool exact = (data_->synth->optionBits & 2) != 0;
    asked_ = transfer && transfer->WindowState().sent > 0;
    succeeded_ = received && (exact || data_->synth->fileSize > 9);
    over_ = true;
  }

  std::string inPort_, outPort_;
  TransferEngine* engine_;
  Clock& clock_;
  DataFilePtr data_;
  std::atomic<bool> over_{true};
  std::atomic<bool> succeeded_{false};
  std::atomic<bool> asked_{false};
  WorkerThread thread_;
};

// The own request of an instrument on every channel and pair of ports.  Asking pair after pair would take minutes, so
// every output is asked at the same time while all inputs listen; only where something was heard are the pairs tried
// one by one.
class RequestRun {
 public:
  explicit RequestRun(AutoConfigSearch& search) : search_(search) {}

  bool Run() {
    const int channels = search_.task.channelHigh - search_.task.channelLow + 1;
    const auto ins = search_.inputs.size(), outs = search_.outputs.size();
    if (!search_.task.request || !search_.line.transfers || ins == 0 || outs == 0 || channels < 1) return false;
    rounds_ = (outs + ins - 1) / ins;
    search_.shown.range =
        static_cast<int>(std::min<std::size_t>(2 * rounds_ * static_cast<std::size_t>(channels) - 1, 1'000'000));
    const std::int64_t fast = std::clamp(kAutoSenseQuickAllMs / (static_cast<std::int64_t>(rounds_) * channels),
                                         kAutoSenseQuickLeastMs, kAutoSenseQuickMostMs);
    return Pass(fast) || (!search_.task.quick && asks_ && !search_.Cancelled() && Pass(kAutoSensePatientMs));
  }

 private:
  bool Pass(std::int64_t patienceMs) {
    for (int channel = search_.task.channelLow; channel <= search_.task.channelHigh; ++channel) {
      for (std::size_t round = 0; round < rounds_; ++round) {
        if (search_.Cancelled()) return false;
        const std::int64_t began = search_.clock().NowUs();
        if (Round(channel, round, patienceMs)) return true;
        if (!asks_) return false;
        search_.shown.position = std::min(search_.shown.position + 1, search_.shown.range);
        tookMs_ = (search_.clock().NowUs() - began) / 1000;
      }
    }
    return false;
  }

  bool Round(int channel, std::size_t round, std::int64_t patienceMs) {
    search_.ShowDevice(channel);
    const std::size_t ins = search_.inputs.size();
    const std::size_t first = round * ins;
    const std::size_t count = std::min(ins, search_.outputs.size() - first);
    search_.shown.inPort = ins > 1 ? "Any MIDI IN port" : search_.inputs[0].name;
    search_.shown.outPort = count > 1 ? Printf("%zu ports at once", count) : search_.outputs[first].name;
    search_.shown.remainingMs = tookMs_ < 0 ? -1 : tookMs_ * (search_.shown.range - search_.shown.position + 1);
    search_.Show();
    search_.ForgetHeard();
    std::vector<std::unique_ptr<Try>> tries;
    for (std::size_t i = 0; i < count; ++i)
      tries.push_back(std::make_unique<Try>(search_, search_.inputs[i].name, search_.outputs[first + i].name, channel));
    search_.Trace(Printf("request on channel %d, %zu port pairs at once", channel, count));
    AwaitRound(tries, patienceMs);
    const auto inputs = InputsThatHeard(tries);
    const bool certain = count == 1 && search_.outputs.size() == 1 && tries[0]->succeeded();
    const std::string in = tries[0]->inPort(), out = tries[0]->outPort();
    tries.clear();
    if (search_.Cancelled()) return false;
    if (certain) return Found(in, out, channel);
    return !inputs.empty() && TryPairs(inputs, channel, patienceMs + kAutoSenseSettleMs);
  }

  // Until every try is over, or nothing at all has begun to come within the patience.
  void AwaitRound(const std::vector<std::unique_ptr<Try>>& tries, std::int64_t patienceMs) {
    const std::int64_t began = search_.clock().NowUs();
    for (;;) {
      if (!search_.Wait(kLookMs)) break;
      const std::int64_t pastMs = (search_.clock().NowUs() - began) / 1000;
      bool over = true, receiving = false, succeeded = false;
      for (const auto& one : tries) {
        over = over && one->over();
        succeeded = succeeded || one->succeeded();
        receiving = receiving || one->receiving();
      }
      if (over || succeeded || pastMs > kAutoSenseLongestMs || (pastMs > patienceMs && !receiving)) break;
    }
    bool asked = false;
    for (const auto& one : tries) one->Cancel();
    for (const auto& one : tries) {
      one->Finish();
      asked = asked || one->asked();
      if (one->asked()) ++search_.result.requests;
    }
    // What only waits for a dump from the panel never finds anything.
    asks_ = asks_ || asked;
  }

  std::vector<std::string> InputsThatHeard(const std::vector<std::unique_ptr<Try>>& tries) {
    std::vector<std::string> inputs;
    const auto add = [&](const std::string& name) {
      if (std::find(inputs.begin(), inputs.end(), name) == inputs.end()) inputs.push_back(name);
    };
    for (const auto& one : tries)
      if (one->succeeded()) add(one->inPort());
    for (const auto& heard : search_.TakeHeard()) {
      search_.Trace("from " + heard.inPort + Printf(": %zu bytes of SysEx", heard.message.size()));
      add(heard.inPort);
    }
    return inputs;
  }

  // The order of the description: inputs, and for each of them the outputs; the output of the same name first.
  bool TryPairs(const std::vector<std::string>& inputs, int channel, std::int64_t patienceMs) {
    search_.Wait(kAutoSenseSettleMs);
    for (const std::string& in : inputs) {
      std::vector<std::string> outputs;
      for (const auto& output : search_.outputs)
        outputs.insert(output.name == in ? outputs.begin() : outputs.end(), output.name);
      for (const std::string& out : outputs) {
        if (search_.Cancelled()) return false;
        if (TryPair(in, out, channel, patienceMs)) return Found(in, out, channel);
      }
    }
    return false;
  }

  // What comes late must not be taken for the answer of the next pair.  Where something came but no data, once more.
  bool TryPair(const std::string& in, const std::string& out, int channel, std::int64_t patienceMs) {
    search_.shown.inPort = in;
    search_.shown.outPort = out;
    search_.Show(true);
    bool heard = true;
    for (int attempt = 0; attempt < kAutoSenseTriesOfPair && heard && !search_.Cancelled(); ++attempt) {
      search_.ForgetHeard();
      search_.Trace(Printf("request on channel %d: ", channel) + in + " / " + out);
      std::vector<std::unique_ptr<Try>> one;
      one.push_back(std::make_unique<Try>(search_, in, out, channel));
      AwaitRound(one, patienceMs);
      if (one[0]->succeeded()) return true;
      one.clear();
      heard = false;
      for (int round = 0; round < kAutoSenseSettleRounds && search_.Wait(kAutoSenseSettleMs); ++round) {
        if (search_.TakeHeard().empty()) break;
        heard = true;
      }
    }
    return false;
  }

  bool Found(const std::string& inPort, const std::string& outPort, int channel) {
    auto& result = search_.result;
    result.inPortName = inPort;
    result.outPortName = outPort;
    result.inPort = search_.LocateInput(inPort);
    result.outPort = search_.LocateOutput(outPort);
    result.deviceId = channel;
    return true;
  }

  AutoConfigSearch& search_;
  std::size_t rounds_ = 1;
  bool asks_ = false;  // the data type's receive sends something
  std::int64_t tookMs_ = -1;
};

}  // namespace

bool AutoConfigRequestSearch(AutoConfigSearch& search) {
  return RequestRun(search).Run();
}

}  // namespace tonalith
