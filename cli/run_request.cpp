#include "cli/run_request.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <istream>

#include "cli/commands_data.h"
#include "cli/input_files.h"
#include "data/synth_fields.h"
#include "platform/plain_text.h"
#include "platform/text.h"
#include "script/compiler.h"

namespace tonalith {

const char* const kRunHelp =
    "run FILE|- [--image HEX|@FILE] [--descriptor FIELD=VALUE]... [--channel C] [--midi-channel C] [--patch P] [--x "
    "N]\n"
    "    [--edit W,X,Y,Z] [--ret] [--float] [--times N] [--limit SECONDS] [--user-settings]\n"
    "    [--reply HEX]... [--conversation FILE] [--macro FILE]... [--show-image]\n"
    "                                  run a script in virtual time and show the traffic and the registers\n";

namespace {

constexpr std::size_t kDefaultImageBytes = 65536;
constexpr std::size_t kMaxRunFile = 64u << 20;

bool ReadWholeInput(const std::string& file, std::istream& in, std::string* text, std::string* error) {
  const Result read = ReadInput(file, in, text, kMaxRunFile);
  if (!read.ok())
    *error = read.code == kFileTooLarge ? "The file " + PlainLine(file) + " is too large for a script." : read.text;
  return read.ok();
}

// Bytecode given as hex pairs: nothing but hex digits and blanks, FF at the end.
std::optional<RunBytes> AsHexCode(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c))) continue;
    if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
    digits += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  if (digits.size() < 2 || digits.size() % 2 != 0 || digits.compare(digits.size() - 2, 2, "FF") != 0)
    return std::nullopt;
  RunBytes code;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    unsigned value = 0;
    std::from_chars(digits.data() + i, digits.data() + i + 2, value, 16);
    code.push_back(static_cast<std::uint8_t>(value));
  }
  return code;
}

bool LooksBinary(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == 0xFF || (byte < 32 && !std::isspace(byte) && byte != 26);
  });
}

bool ReadScript(const std::string& file, std::istream& in, RunBytes* code, std::string* error) {
  std::string text;
  if (!ReadWholeInput(file, in, &text, error)) return false;
  if (LooksBinary(text)) {
    code->assign(text.begin(), text.end());
    return true;
  }
  if (auto hex = AsHexCode(text)) {
    *code = std::move(*hex);
    return true;
  }
  CompileResult compiled = CompileScript(text);
  *code = std::move(compiled.code);
  *error = compiled.report.empty() ? "The script does not compile." : compiled.report;
  return compiled.ok();
}

bool TakeRunNumber(const std::string& option, const std::string& text, std::int64_t low, std::int64_t high,
                   std::int64_t* value, std::string* error) {
  const bool negative = !text.empty() && text[0] == '-';
  const bool hex = text.compare(negative ? 1 : 0, 2, "0x") == 0 || text.compare(negative ? 1 : 0, 2, "0X") == 0;
  const char* first = text.data() + (negative ? 1 : 0) + (hex ? 2 : 0);
  const auto parsed = std::from_chars(first, text.data() + text.size(), *value, hex ? 16 : 10);
  if (negative) *value = -*value;
  if (parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() && *value >= low && *value <= high)
    return true;
  *error = option + " takes a number from " + std::to_string(low) + " to " + std::to_string(high) + ", not \"" + text +
           "\".";
  return false;
}

// Seconds with up to three decimals.
bool TakeSeconds(const std::string& text, std::int64_t* ms) {
  constexpr std::int64_t kMostSeconds = 86400;
  std::int64_t value = 0;
  int decimals = -1;
  for (const char c : text) {
    if (c == '.' && decimals < 0) {
      decimals = 0;
    } else if (c >= '0' && c <= '9' && decimals < 3 && value < kMostSeconds * 1000) {
      value = value * 10 + (c - '0');
      if (decimals >= 0) ++decimals;
    } else {
      return false;
    }
  }
  for (int i = std::max(decimals, 0); i < 3; ++i) value *= 10;
  *ms = value;
  return value > 0 && value <= kMostSeconds * 1000;
}

// The registers W, X, Y and Z as an editor's control gives them to its script.
bool TakeEdit(const std::string& text, MacroStart* start, std::string* error) {
  const std::vector<std::string> words = SplitText(text, ',');
  std::array<std::int32_t, 4> edit{};
  if (words.size() != edit.size()) {
    *error = "--edit takes four numbers W,X,Y,Z, not \"" + text + "\".";
    return false;
  }
  for (std::size_t i = 0; i < edit.size(); ++i) {
    std::int64_t number = 0;
    if (!TakeRunNumber("--edit", words[i], INT32_MIN, INT32_MAX, &number, error)) return false;
    edit[i] = static_cast<std::int32_t>(number);
  }
  start->edit = edit;
  return true;
}

bool TakeRunOption(const std::string& option, const std::string& value, std::istream& in, RunRequest* request,
                   std::string* error) {
  std::int64_t number = 0;
  if (option == "--image") {
    RunBytes bytes;
    if (!value.empty() && !ReadBytesOperand(value, in, &bytes, error)) return false;
    request->image = std::move(bytes);
  } else if (option == "--descriptor") {
    if (value.compare(0, 9, "fileSize=") == 0) request->fileSizeGiven = true;
    return SetSynthField(&request->synth, value, error);
  } else if (option == "--channel") {
    if (!TakeRunNumber(option, value, 0, 255, &number, error)) return false;
    request->synth.sysExChannel = static_cast<std::uint8_t>(number);
  } else if (option == "--midi-channel") {
    if (!TakeRunNumber(option, value, 0, 15, &number, error)) return false;
    request->synth.midiChannel = static_cast<std::uint8_t>(number);
  } else if (option == "--patch") {
    if (!TakeRunNumber(option, value, 0, 65535, &number, error)) return false;
    request->synth.patchNumber = static_cast<std::uint16_t>(number);
  } else if (option == "--x") {
    if (!TakeRunNumber(option, value, INT32_MIN, INT32_MAX, &number, error)) return false;
    request->start.x = static_cast<std::int32_t>(number);
  } else if (option == "--edit") {
    return TakeEdit(value, &request->start, error);
  } else if (option == "--times") {
    if (!TakeRunNumber(option, value, 1, 1'000'000, &number, error)) return false;
    request->times = static_cast<int>(number);
  } else if (option == "--limit") {
    if (TakeSeconds(value, &request->limitMs)) return true;
    *error = "--limit takes seconds from 0.001 to 86400, not \"" + value + "\".";
    return false;
  } else if (option == "--reply") {
    RunBytes bytes;
    if (!ReadBytesOperand(value, in, &bytes, error)) return false;
    request->replies.push_back(std::move(bytes));
  } else if (option == "--macro") {
    return ReadScript(value, in, &request->macros.emplace_back(), error);
  } else if (option == "--conversation") {
    std::string text;
    if (!ReadWholeInput(value, in, &text, error)) return false;
    request->conversation = Conversation::Parse(text, error);
    return request->conversation.has_value();
  } else {
    *error = "There is no option " + option + " here.";
    return false;
  }
  return true;
}

bool TakeRunFlag(const std::string& word, RunRequest* request) {
  const struct {
    const char* word;
    bool* flag;
  } flags[] = {{"--show-image", &request->showImage},
               {"--ret", &request->start.returnRet},
               {"--float", &request->start.floatMode},
               {"--user-settings", &request->userSettings}};
  for (const auto& known : flags) {
    if (word != known.word) continue;
    *known.flag = true;
    return true;
  }
  return false;
}

}  // namespace

bool ParseRunArguments(const std::vector<std::string>& args, std::istream& in, RunRequest* request,
                       std::string* error) {
  std::string script;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i].compare(0, 2, "--") != 0) {
      if (!script.empty()) {
        *error = "Only one script can be run at a time.";
        return false;
      }
      script = args[i];
      continue;
    }
    if (TakeRunFlag(args[i], request)) continue;
    const std::size_t equals = args[i].find('=');
    const std::string option = args[i].substr(0, equals);
    std::string value;
    if (equals != std::string::npos) {
      value = args[i].substr(equals + 1);
    } else if (i + 1 < args.size()) {
      value = args[++i];
    } else {
      *error = option + " needs a value.";
      return false;
    }
    if (!TakeRunOption(option, value, in, request, error)) return false;
  }
  if (script.empty()) {
    *error = std::string("Use it like this:\n") + kRunHelp;
    return false;
  }
  if (request->start.edit && request->start.x != 0) {
    *error = "--edit says what X is; --x has no meaning beside it.";
    return false;
  }
  if (request->conversation && !request->replies.empty()) {
    *error = "Replies come either from --reply or from --conversation.";
    return false;
  }
  return ReadScript(script, in, &request->code, error);
}

// The memory of the image and the size the script is told; completes what the descriptor leaves out.
MacroBuffer PrepareImage(RunRequest& request, RunBytes& memory) {
  std::size_t told = request.fileSizeGiven ? request.synth.fileSize : kDefaultImageBytes;
  if (request.image) {
    memory = *request.image;
    if (!request.fileSizeGiven) told = memory.size();
  }
  told = std::min<std::size_t>(told, kMaxRunFile);
  memory.resize(std::max(memory.size(), told));
  CompleteSynth(&request.synth, static_cast<std::uint32_t>(told));
  return MacroBuffer(memory, told);
}

}  // namespace tonalith
