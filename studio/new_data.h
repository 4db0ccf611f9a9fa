#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/prompts.h"
#include "platform/result.h"

namespace tonalith {

class Settings;
class ZKDrvList;
class ZKStudioDoc;

// New instrument data from a file, by the data type of the driver that the user chose.  Nothing here opens a window:
// the caller does, with what comes back.

enum class NewDataKind { SysEx = 1, MidiFile = 2, Headerless = 3 };

// Filling the image of new data with the bytes of a file.  `image` has exactly the size of the data.
enum class FillOutcome {
  Filled,
  NotSysEx,    // kind 1: the first byte is no F0
  WrongSize,   // kind 1: no part of the file has the size
  NotMatched,  // kind 2: no event of the size
};
// A file of exactly the size is the image; in a longer one the last span of that size from F0 to F7 is taken.
FillOutcome FillFromSysEx(std::span<const std::uint8_t> file, std::span<std::uint8_t> image);
// Takes the first event F0 whose F7 ends data of that size; the event is taken whole.
FillOutcome FillFromMidiFile(std::span<const std::uint8_t> file, std::span<std::uint8_t> image);
// The bytes behind the header of the image; a shorter file fills what it can.
FillOutcome FillHeaderless(std::span<const std::uint8_t> file, std::span<std::uint8_t> image, std::uint32_t headerSize);

// What came of it.
struct NewData {
  enum class State {
    Made,       // `dataFile` is the new data, `driver` its driver
    Cancelled,  // the user cancelled; everything has been said
    Failed,     // the user has been told why
  };
  State state = State::Cancelled;
  DataFilePtr dataFile;
  ZKDrvList* driver = nullptr;
  std::string path;         // the file that was used
  bool sendNow = false;     // the user agreed (or need not be asked) to send it at once; patch data only
  bool autoDefine = false;  // bank data that defines patches and banks automatically, and the user wants that
};

// New data of the driver is filled from the file.  An empty path asks for the file.  `settings` may be null.
NewData DrvAddNewDataFile(const ZKStudioDoc& studio, Prompts& prompts, const Settings* settings, NewDataKind kind,
                          ZKDrvList* driver, const std::string& path = {});

// Labels of banks for data that defines patches and banks automatically: keys "MSB%d:LSB%d" or "%d" of the module file
// in the data type's own folder.  `msb` below 0: only the number counts.  Empty when the module names none.
std::string AutoDefineBankLabel(const ZKStudioDoc& studio, const ZKDrvList* driver, int msb, int lsb);

}  // namespace tonalith
