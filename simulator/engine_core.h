#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/description.h"
#include "simulator/fault_line.h"
#include "simulator/memory_image.h"

namespace tonalith {

// What the protocol engines of one instrument share.
struct EngineCore {
  explicit EngineCore(InstrumentDescription what) : description(std::move(what)), memory(description) {
    device = description.device;
    mode = description.mode;
    memoryProtect = description.memoryProtect;
  }

  InstrumentDescription description;
  MemoryImage memory;
  FaultLine faults;
  int device = 0;
  int mode = 0;
  int bank = 0;
  bool memoryProtect = false;
  std::string display;
  std::int64_t nowUs = 0;
  std::int64_t busyUntilUs = 0;
  std::int64_t lastRequestUs = INT64_MIN / 2;
  Captures heard;           // bytes of the message that is worked on, "byte0" ..., for answers that repeat them
  std::map<int, int> held;  // items that areas hold, where these may be fewer than there is room for
  std::string lastMessage;  // key of the data message taken last

  // Answers collected while bytes are worked on; delays count from now.
  std::vector<Reply> answers;

  const AreaInfo& Area(int area) const { return description.areas[static_cast<std::size_t>(area)]; }
  std::int64_t ReplyDelayUs() const { return std::int64_t{description.replyDelayMs} * 1000; }

  // One more message of the answer, `replyGapMs` after the one before.
  void Answer(std::vector<std::uint8_t> bytes);
  // The instrument's message for a status ("received", "refused" ...); nothing when it has none.
  void AnswerStatus(std::string_view status);
  bool HasStatus(std::string_view status) const;
  // False when the item cannot be written now; says why on the display and in *status.
  bool MayWrite(int area, int item, std::string* status);
  // False for a request that comes too soon after the one before.
  bool HearsRequest();
  void Busy(int ms) { busyUntilUs = nowUs + std::int64_t{ms} * 1000; }
};

}  // namespace tonalith
