#include "services/pacing_profile.h"

#include <algorithm>

#include "platform/ini_file.h"

namespace tonalith {

namespace {

constexpr const char* kSection = "Instrument Pacing";
constexpr int kMostEntries = 1024;
constexpr int kMostChunk = 0xFFFF;
constexpr int kMostPauseMs = 60'000;

}  // namespace

std::vector<PacingProfile::Entry> PacingProfile::All() const {
  std::vector<Entry> entries;
  const std::string path = path_();
  if (path.empty()) return entries;
  const IniFile ini(path);
  const int count = std::min(ini.GetInt(kSection, "Count"), kMostEntries);
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const auto value = [&](const char* key, int most) {
      return static_cast<std::uint16_t>(std::clamp(ini.GetInt(kSection, key + number), 0, most));
    };
    Entry entry{ini.GetString(kSection, "Instrument" + number), ini.GetString(kSection, "Port" + number), {}};
    entry.pacing = {value("Chunk", kMostChunk), value("Gap", kMostPauseMs), value("Delay", kMostPauseMs)};
    if (!entry.instrument.empty()) entries.push_back(std::move(entry));
  }
  return entries;
}

std::optional<MidiPacing> PacingProfile::Of(const std::string& instrument, const std::string& port) const {
  for (const Entry& entry : All())
    if (entry.instrument == instrument && entry.port == port) return entry.pacing;
  return std::nullopt;
}

Result PacingProfile::Keep(const Entry& entry) const {
  std::vector<Entry> entries = All();
  std::erase_if(entries,
                [&](const Entry& kept) { return kept.instrument == entry.instrument && kept.port == entry.port; });
  if (entries.size() >= kMostEntries)
    return Result::Failure("There are too many instruments with a pace of their own.");
  entries.push_back(entry);
  return Write(entries);
}

Result PacingProfile::Remove(const std::string& instrument, const std::string& port) const {
  std::vector<Entry> entries = All();
  if (std::erase_if(entries, [&](const Entry& kept) { return kept.instrument == instrument && kept.port == port; }) ==
      0)
    return Result::Failure("Nothing is kept for the " + instrument + " on \"" + port + "\".");
  return Write(entries);
}

Result PacingProfile::Write(const std::vector<Entry>& entries) const {
  const std::string path = path_();
  if (path.empty()) return Result::Success();
  IniFile ini(path);
  ini.RemoveSection(kSection);
  ini.SetInt(kSection, "Count", static_cast<int>(entries.size()));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string number = std::to_string(i);
    ini.Set(kSection, "Instrument" + number, entries[i].instrument);
    ini.Set(kSection, "Port" + number, entries[i].port);
    ini.SetInt(kSection, "Chunk" + number, entries[i].pacing.chunk);
    ini.SetInt(kSection, "Gap" + number, entries[i].pacing.gapMs);
    ini.SetInt(kSection, "Delay" + number, entries[i].pacing.delayMs);
  }
  return ini.Save();
}

std::string PacingText(const MidiPacing& pacing) {
  std::string text;
  if (pacing.chunk) {
    text = "pieces of " + std::to_string(pacing.chunk) + " bytes";
    if (pacing.gapMs) text += ", " + std::to_string(pacing.gapMs) + " ms behind each";
  }
  if (pacing.delayMs) {
    text += (text.empty() ? "" : ", ") + std::to_string(pacing.delayMs) + " ms behind each message";
  }
  return text.empty() ? "no pauses" : text;
}

}  // namespace tonalith
