#include "studio/auto_configuration.h"

#include <algorithm>
#include <mutex>

#include "data/hex_text.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kSection[] = "Device Inquiry";
constexpr char kBeforeSection[] = "Pre Device Inquiry";
constexpr int kMostPatterns = 200;
constexpr int kLongestWaitMs = 10'000;
constexpr int kMostBeforeBytes = 65'536;
constexpr std::int64_t kSliceUs = 20'000;
constexpr std::int64_t kShowEveryUs = 30'000;
constexpr std::int64_t kStartWaitMs = 100;
constexpr std::size_t kMostHeard = 512;
constexpr std::size_t kLongestHeard = 4096;
constexpr std::size_t kMostAnswers = 100;

int Limited(const IniFile& module, const std::string& section, const char* key, int fallback, int low, int high) {
  return std::clamp(module.GetInt(section, key, fallback), low, high);
}

DeviceInquiryPattern ReadPattern(const IniFile& module, const std::string& section) {
  const auto byte = [&](const char* name, std::size_t number) {
    return Limited(module, section, (name + std::to_string(number)).c_str(), kAnyByte, kAnyByte, 255);
  };
  DeviceInquiryPattern pattern;
  for (std::size_t i = 0; i < 2; ++i) {
    pattern.family[i] = byte("Family", i + 1);
    pattern.member[i] = byte("Member", i + 1);
  }
  for (std::size_t i = 0; i < pattern.ascii.size(); ++i) pattern.ascii[i] = byte("ASCII", i + 1);
  pattern.select = std::max(0, module.GetInt(section, "Select"));
  pattern.minimumVersion = module.GetInt(section, "ASCIIisMinimumVersion") != 0;
  pattern.nthResponse = std::max(1, module.GetInt(section, "nthResponse", 1));
  return pattern;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------- the module

DeviceInquiry ReadDeviceInquiry(const IniFile& module) {
  DeviceInquiry inquiry;
  inquiry.own = ReadOwnInquiry(module);
  inquiry.enabled = module.GetInt(kSection, "Enable") != 0 || !inquiry.own.empty();
  inquiry.oldMode = module.GetInt(kSection, "OldMode") != 0;
  inquiry.idSize = module.GetInt(kSection, "IDSize", 1) == 3 ? 3 : 1;
  for (std::size_t i = 0; i < inquiry.id.size(); ++i)
    inquiry.id[i] = Limited(module, kSection, ("ID" + std::to_string(i + 1)).c_str(), 0, 0, 255);
  inquiry.length = std::max(-1, module.GetInt(kSection, "Length"));
  if (inquiry.length == 0) inquiry.length = inquiry.idSize == 1 ? 15 : 17;
  inquiry.chMin = Limited(module, kSection, "ChMin", 0, -1, 127);
  inquiry.chMax = Limited(module, kSection, "ChMax", 15, -1, 127);
  // No device ID at one end of the range: everybody is asked at once.
  if (inquiry.chMax < 0) inquiry.chMin = -1;
  inquiry.chMax = std::max(inquiry.chMin, inquiry.chMax);
  inquiry.separationMs = Limited(module, kSection, "Separation", 30, 0, kLongestWaitMs);
  inquiry.repeats = Limited(module, kSection, "Repeats", kAutoSenseRepeats, 1, kAutoSenseMostRepeats);
  inquiry.defaultInPort = module.GetString(kSection, "MacDefaultMidiInPort");
  inquiry.defaultOutPort = module.GetString(kSection, "MacDefaultMidiOutPort");
  const int count = Limited(module, kSection, "NumInquiry", 1, 1, kMostPatterns);
  for (int i = 1; i <= count; ++i) inquiry.patterns.push_back(ReadPattern(module, Printf("%s %d", kSection, i)));
  return inquiry;
}

PreDeviceInquiry ReadPreDeviceInquiry(const IniFile& module) {
  PreDeviceInquiry before;
  const int size = Limited(module, kBeforeSection, "Size", 0, 0, kMostBeforeBytes);
  before.message.reserve(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i)
    before.message.push_back(static_cast<std::uint8_t>(module.GetInt(kBeforeSection, std::to_string(i))));
  before.sleepMs = Limited(module, kBeforeSection, "Sleep", 0, 0, kLongestWaitMs);
  return before;
}

std::string AutoConfigHelpFile(const IniFile& module, const std::filesystem::path& instrumentFolder) {
  const std::string name = module.GetString(kSection, "ErrorURL");
  if (name.empty()) return {};
  const std::string suffix = ExtensionOf(name);
  static constexpr const char* kReadable[] = {".pdf", ".htm", ".html", ".rtf", ".txt", ".png", ".jpg"};
  const auto found = FindPath(instrumentFolder.string(), name, PathTrust::Untrusted);
  std::error_code error;
  if (found && std::filesystem::is_regular_file(*found, error) &&
      std::any_of(std::begin(kReadable), std::end(kReadable),
                  [&](const char* allowed) { return AsciiEqualNoCase(suffix, allowed); }))
    return *found;
  MonitorMsg("AutoSense: the help file \"%s\" of the module is not opened.", name.c_str());
  return {};
}

// ---------------------------------------------------------------------------------------------------- the search

// What comes in while the search runs.  The input side may still be inside when the search is over, so both hold it.
struct AutoConfigSearch::Ear {
  std::mutex mutex;
  std::vector<Heard> heard;
  std::int64_t lastUs = 0;
  bool open = true;
};

AutoConfigSearch::AutoConfigSearch(AutoConfigLine lineOfSearch, AutoConfigTask taskOfSearch,
                                   std::shared_ptr<AutoConfigControl> control, AutoConfigProgressSink progress,
                                   AutoConfigTrace trace, CancelToken stop)
    : line(lineOfSearch),
      task(std::move(taskOfSearch)),
      control_(std::move(control)),
      progress_(std::move(progress)),
      trace_(std::move(trace)),
      stop_(std::move(stop)),
      ear_(std::make_shared<Ear>()) {
  shown.instrument = task.instrumentName;
  result.instrumentName = task.instrumentName;
  result.patterns = task.inquiry.patterns;
  result.helpFile = task.helpFile;
  for (int i = 0; i < line.in.InPorts(); ++i) inputs.push_back({i, line.in.INGETPORTNAME(i)});
  for (int i = 0; i < line.out.MaxOutPorts(); ++i) outputs.push_back({i, line.out.OUTGETPORTNAME(i)});
  monitor_ = line.in.AddMidiInMonitor(
      [ear = ear_, &in = line.in, &clock = line.out.clock()](int port, std::span<const std::uint8_t> message) {
        if (message.empty() || message[0] != 0xF0 || message.size() > kLongestHeard) return;
        const std::lock_guard lock(ear->mutex);
        if (!ear->open || ear->heard.size() >= kMostHeard) return;
        ear->lastUs = clock.NowUs();
        ear->heard.push_back({{message.begin(), message.end()}, in.INGETPORTNAME(port), ear->lastUs});
      });
}

AutoConfigSearch::~AutoConfigSearch() {
  line.in.RemoveMidiInMonitor(monitor_);
  const std::lock_guard lock(ear_->mutex);
  ear_->open = false;
}

bool AutoConfigSearch::Wait(std::int64_t ms) {
  const std::int64_t end = clock().NowUs() + ms * 1000;
  while (!Cancelled()) {
    const std::int64_t left = end - clock().NowUs();
    if (left <= 0) return true;
    clock().SleepUs(std::min(left, kSliceUs), &control_->cancel);
  }
  return false;
}

void AutoConfigSearch::ForgetHeard() {
  const std::lock_guard lock(ear_->mutex);
  ear_->heard.clear();
}

std::vector<AutoConfigSearch::Heard> AutoConfigSearch::TakeHeard() {
  std::vector<Heard> taken;
  const std::lock_guard lock(ear_->mutex);
  taken.swap(ear_->heard);
  return taken;
}

std::int64_t AutoConfigSearch::LastHeardUs() const {
  const std::lock_guard lock(ear_->mutex);
  return ear_->lastUs;
}

bool AutoConfigSearch::Taken(const std::string& outPort) {
  const auto port = line.out.Slot(LocateOutput(outPort));
  if (!port || port->lease() == 0) return false;
  std::vector<std::string>& busy = result.busyPorts;
  if (std::find(busy.begin(), busy.end(), outPort) == busy.end()) busy.push_back(outPort);
  return true;
}

bool AutoConfigSearch::Send(const std::string& outPort, std::span<const std::uint8_t> message) {
  const int port = LocateOutput(outPort);
  if (port < 0 || Taken(outPort)) return false;
  SendOptions options;
  options.cancel = &control_->cancel;
  ++result.requests;
  return line.out.SendDataPort(message, port, options) > 0;
}

void AutoConfigSearch::Show(bool now) {
  const std::int64_t time = clock().NowUs();
  if (!progress_ || (!now && time < shownUs_ + kShowEveryUs)) return;
  shownUs_ = time;
  progress_(shown);
}

void AutoConfigSearch::ShowDevice(int device) {
  shown.device = device < 0 || device > 126 ? std::string() : std::to_string(device + task.firstDevice);
}

void AutoConfigSearch::NoteAnswer(const Heard& heard, const std::string& outPort, bool matched) {
  for (AutoConfigAnswer& known : shown.answers) {
    if (known.inPort != heard.inPort || known.message != heard.message) continue;
    if (matched && !known.matched) known.outPort = outPort;
    known.matched = known.matched || matched;
    return;
  }
  if (shown.answers.size() < kMostAnswers)
    shown.answers.push_back({heard.inPort, outPort, heard.message, matched, task.firstDevice});
  Show(true);
}

namespace {

void SendBefore(AutoConfigSearch& search) {
  const PreDeviceInquiry& before = search.task.before;
  for (const auto& output : search.outputs) {
    if (before.message.empty() || search.Cancelled()) break;
    MonitorMsg("AutoSense: the %zu bytes that %s wants before the search are sent to %s.", before.message.size(),
               search.task.instrumentName.c_str(), output.name.c_str());
    search.Trace("to " + output.name + ": " + HexText(before.message));
    search.Send(output.name, before.message);
  }
  if (before.sleepMs > 0) search.Wait(before.sleepMs);
}

}  // namespace

AutoConfigResult PerformAutoConfig(AutoConfigSearch& search) {
  search.Show(true);
  SendBefore(search);
  bool found = false;
  if (search.Wait(kStartWaitMs)) {
    if (!search.task.inquiry.enabled)
      found = AutoConfigRequestSearch(search);
    else if (search.task.inquiry.oldMode)
      found = AutoConfigDeviceInquiryOld(search);
    else
      found = AutoConfigDeviceInquiry(search);
  }
  AutoConfigResult& result = search.result;
  result.answers = search.shown.answers;
  result.outcome = found                ? AutoConfigOutcome::Found
                   : search.Cancelled() ? AutoConfigOutcome::Cancelled
                                        : AutoConfigOutcome::NotFound;
  return result;
}

}  // namespace tonalith
