#include "services/registry.h"

#include "platform/log.h"

namespace tonalith {

namespace {

constexpr char kCompanyKey[] = "SOFTWARE\\Corvane\\";
constexpr char kInstrumentsKey[] = "SOFTWARE\\Corvane\\Hexalon\\";
constexpr char kVersionKey[] = "\\13.0";

}  // namespace

std::string Registry::KeyPath(bool noVersion) const {
  return kCompanyKey + application_ + (noVersion ? "" : kVersionKey);
}

bool Registry::SetRegistry(std::string_view name, std::string_view value, bool noVersion) {
  const std::string key = KeyPath(noVersion);
  const Result result = store_.Write(key, name, value);
  if (result) return true;
  problem_ = result.text;
  DebugLog("SetRegistry %s: %s", key.c_str(), problem_.c_str());
  if (prompts_) prompts_->Say("Error Creating Key!", key);
  return false;
}

std::string Registry::GetRegistry(std::string_view name, bool noVersion) const {
  return store_.Read(KeyPath(noVersion), name).value_or("");
}

std::string Registry::mainGetKey(std::string_view name) const {
  return GetRegistry(name);
}

std::string Registry::mainGetKey(std::string_view name, std::string_view instrument, std::string_view version) const {
  const std::string own = kInstrumentsKey + std::string(instrument);
  if (auto value = store_.Read(own + '\\' + std::string(version), name)) return *value;
  if (auto value = store_.Read(own, name)) return *value;
  return mainGetKey(name);
}

}  // namespace tonalith
