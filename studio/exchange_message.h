#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// A message as the steps of an exchange write it.  With blanks between:
//   F0       a byte
//   ??       any byte (patterns only)
//   patch    the number of the patch (in a bank that goes patch by patch: its place); device: the device number; turn:
//            how often the steps of `repeat` ran before; with + - * / % & and numbers behind it, without blanks, from
//            the left (`patch+32`, `turn*4`); a byte may stand in front (`70+device`)
struct ExchangeMessage {
  struct Computed {
    std::size_t at = 0;
    std::string script;    // statements that leave the byte in `variable`
    std::string variable;  // a register or variable of the script language
    bool device = false;   // it is the device number and nothing else
  };
  std::vector<std::uint8_t> bytes;  // 0 where the byte is computed, FF where any will do
  std::vector<Computed> computed;
};

// Variables of the scripts.
inline constexpr char kPatchVariable[] = "V60";
inline constexpr char kTurnVariable[] = "V61";
inline constexpr char kFailedVariable[] = "V62";  // something did not come
inline constexpr char kByteVariable[] = "V63";
inline constexpr char kPlaceVariable[] = "V64";  // of the next block in the image
inline constexpr char kDueVariable[] = "V65";
inline constexpr char kTriesVariable[] = "V66";
inline constexpr char kVerdictVariable[] = "V67";
inline constexpr char kFoundVariable[] = "V68";
inline constexpr char kWantedVariable[] = "V69";
inline constexpr char kLiveVariable[] = "V70";    // not 0: an instrument may answer
inline constexpr char kBudgetVariable[] = "V71";  // how often a piece may be asked for again
inline constexpr char kLeftVariable[] = "V998";   // what is left of that when the script ends

// Nothing, with a sentence, when the text is no message.
std::optional<ExchangeMessage> ParseExchangeMessage(std::string_view text, std::string* error);

// Statements that make the message the transmit data.  As a `pattern` the device number of all devices (127) is any.
std::string TransmitDataText(const ExchangeMessage& message, bool pattern);

// Statements that put the message into the image behind the cursor.
std::string ImageBytesText(const ExchangeMessage& message, std::int64_t offset);

}  // namespace tonalith
