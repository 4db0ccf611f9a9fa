#include "simulator/engine_core.h"

namespace tonalith {

void EngineCore::Answer(std::vector<std::uint8_t> bytes) {
  std::int64_t delay = ReplyDelayUs();
  if (!answers.empty()) delay = answers.back().delayUs + std::int64_t{description.replyGapMs} * 1000;
  answers.push_back({std::move(bytes), delay});
}

bool EngineCore::HasStatus(std::string_view status) const {
  return description.statuses.count(std::string(status)) != 0;
}

void EngineCore::AnswerStatus(std::string_view status) {
  const auto found = description.statuses.find(std::string(status));
  if (found != description.statuses.end()) Answer(EmitPattern(found->second, device, description.deviceBase, heard));
}

bool EngineCore::MayWrite(int area, int item, std::string* status) {
  const AreaInfo& info = Area(area);
  if (memoryProtect && info.isProtected) {
    display = "MEMORY PROTECTED";
    *status = "protected";
    return false;
  }
  if (item >= info.writableItems) {
    display = "READ ONLY";
    *status = "protected";
    return false;
  }
  return true;
}

bool EngineCore::HearsRequest() {
  if (nowUs - lastRequestUs < std::int64_t{description.requestGapMs} * 1000) {
    display = "REQUEST TOO SOON";
    return false;
  }
  lastRequestUs = nowUs;
  return true;
}

}  // namespace tonalith
