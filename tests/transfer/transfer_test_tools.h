#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "data/data_text.h"
#include "midi/backends/virtual_backend.h"
#include "midi/port_system.h"
#include "script/compiler.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_events.h"
#include "script/transfer_engine_services.h"
#include "services/transfer_sentences.h"

namespace tonalith::transfer_test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes Hex(const std::string& text) {
  return ParseHex(text).value();
}

inline std::string Text(std::span<const std::uint8_t> bytes) {
  std::string text;
  char hex[4];
  for (const std::uint8_t byte : bytes) {
    std::snprintf(hex, sizeof hex, "%02X", byte);
    text += (text.empty() ? "" : " ") + std::string(hex);
  }
  return text;
}

template <std::size_t N>
void SetText(char (&field)[N], const std::string& text) {
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), std::min(text.size(), N));
}

// A DataFile with a body of `size` bytes (F0 first) and the components windows give it.
inline DataFilePtr MakeData(std::uint32_t size, std::uint32_t voices = 1) {
  DataFilePtr df(AllocDataFile());
  AllocChunk(&df->synth, &df->synthSize, kSynthSize);
  Synth& s = *df->synth;
  SetText(s.shortName, "Mock");
  SetText(s.typeName, voices > 1 ? "Bank" : "Voice");
  s.fileSize = size;
  s.numVoices = voices;
  s.voiceSize = s.voiceBytes = size / voices;
  s.isBank = voices > 1;
  s.manufacturerId = 0x3E;
  s.optionBits = 3;
  s.sysExChannelMax = 15;
  AllocChunk(&df->body, &df->bodySize, size);
  for (std::uint32_t v = 0; v < voices; ++v) df->body[v * s.voiceSize] = 0xF0;
  AddDataFileComponents(df.get(), 1);
  SetText(df->xtra->instrumentName, "Mock One");
  return df;
}

inline void SetScript(DataFile& df, bool receive, const std::string& source) {
  const auto compiled = CompileScript(source);
  ASSERT_TRUE(compiled.ok()) << compiled.report;
  const auto& code = compiled.code;
  if (receive) {
    AllocChunk(&df.receiveScript, &df.receiveScriptSize, static_cast<std::uint32_t>(code.size()), code.data());
  } else {
    AllocChunk(&df.transmitScript, &df.transmitScriptSize, static_cast<std::uint32_t>(code.size()), code.data());
  }
  df.synth->noChecksumOnFormat = 1;
}

}  // namespace tonalith::transfer_test
