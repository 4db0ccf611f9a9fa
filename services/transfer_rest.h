#pragma once

#include <cstdint>
#include <vector>

#include "data/data_records.h"
#include "services/transfer_desk.h"

namespace tonalith {

// What transfers of a bank that go patch by patch have left undone, for the next one to go on with.  One value a patch;
// empty: nothing.
struct TransferRest {
  std::vector<std::uint8_t> notReceived;  // asked for, and did not come
  std::vector<std::uint8_t> notSent;      // to be sent, and not known to have left the port

  bool none() const { return notReceived.empty() && notSent.empty(); }
  bool operator==(const TransferRest&) const = default;
};

// How a Get or a send of these patches (one value a patch, empty: all) ended.  A Get is to be noted only when the data
// has taken over what came.  Data that goes as a whole leaves no rest; a send that sent nothing leaves the former one.
void NoteGet(const DataFile& data, const std::vector<std::uint8_t>& patches, const DeskResult& result,
             TransferRest* rest);
void NoteSend(const DataFile& data, const std::vector<std::uint8_t>& patches, const DeskResult& result,
              TransferRest* rest);

// Those of the patches (as above) that a send of the data sends: that hold something.
std::vector<std::uint8_t> PatchesToSend(const DataFile& data, const std::vector<std::uint8_t>& patches);
int CountPatches(const std::vector<std::uint8_t>& patches);
// "3,5-7", from 0.
std::string SlotsText(const std::vector<std::uint8_t>& patches);

}  // namespace tonalith
