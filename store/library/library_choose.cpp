#include "store/library/library_choose.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/text.h"

namespace tonalith {

namespace {

struct Flag {
  const char* name;
  void (*set)(LibraryCriteria& criteria);
};
constexpr Flag kFlags[] = {
    {"Duplicates", [](LibraryCriteria& c) { c.duplicates = true; }},
    {"SimilarSounds", [](LibraryCriteria& c) { c.similar = true; }},
    {"Keys", [](LibraryCriteria&) {}},
    {"Tags", [](LibraryCriteria&) {}},
    {"SoundsWithName", [](LibraryCriteria&) {}},
    {"ByteEqual", [](LibraryCriteria&) {}},
    {"IncludeNames", [](LibraryCriteria& c) { c.includeNames = true; }},
    {"Invert", [](LibraryCriteria& c) { c.invert = true; }},
    {"UseFirstSelected", [](LibraryCriteria& c) { c.useFirstSelected = true; }},
    {"AppendDuplicateName", [](LibraryCriteria& c) { c.appendDuplicateName = true; }},
    {"IncludeHiddenPatches", [](LibraryCriteria& c) { c.includeHidden = true; }},
    {"CheckAllSelectedForDups", [](LibraryCriteria& c) { c.checkAllSelected = true; }},
    {"LogicOr", [](LibraryCriteria& c) { c.any = true; }},
    {"LogicAnd", [](LibraryCriteria& c) { c.any = false; }},
};

class ChooseReader {
 public:
  ChooseReader(const std::vector<LibraryArgument>& arguments, LibraryCriteria* criteria)
      : arguments_(arguments), criteria_(*criteria) {}

  Result Run() {
    while (at_ < arguments_.size()) {
      const auto* option = std::get_if<std::string>(&arguments_[at_]);
      const Flag* flag = option ? FlagNamed(*option) : nullptr;
      if (!flag)
        return Result::Failure(option ? "There is no search option \"" + *option + "\"."
                                      : "An option of the search is needed in front of a number.");
      ++at_;
      flag->set(criteria_);
      if (Result read = ReadMore(flag->name); !read.ok()) return read;
    }
    return Result::Success();
  }

 private:
  static const Flag* FlagNamed(const std::string& text) {
    const auto found = std::find_if(std::begin(kFlags), std::end(kFlags),
                                    [&](const Flag& flag) { return AsciiEqualNoCase(flag.name, text); });
    return found == std::end(kFlags) ? nullptr : found;
  }
  static bool IsOperator(const std::string& text) {
    constexpr const char* kOperators[] = {"And", "Or", "AndNot", "XOr"};
    return std::any_of(std::begin(kOperators), std::end(kOperators),
                       [&](const char* name) { return AsciiEqualNoCase(name, text); });
  }

  const std::string* NextText() {
    const auto* text = at_ < arguments_.size() ? std::get_if<std::string>(&arguments_[at_]) : nullptr;
    if (text) ++at_;
    return text;
  }
  const std::int64_t* NextNumber() {
    const auto* number = at_ < arguments_.size() ? std::get_if<std::int64_t>(&arguments_[at_]) : nullptr;
    if (number) ++at_;
    return number;
  }

  Result ReadMore(const std::string& option) {
    if (option == "SimilarSounds") {
      if (const std::int64_t* percent = NextNumber())
        criteria_.similarity = static_cast<int>(std::clamp<std::int64_t>(*percent, -1, 101));
    }
    if (option == "Keys") return ReadKeys();
    if (option == "Tags" || option == "SoundsWithName") {
      const std::string* text = NextText();
      if (!text) return Result::Failure(option + " needs a text.");
      (option == "Tags" ? criteria_.anyTag : criteria_.name) = *text;
    }
    if (option == "ByteEqual") {
      const std::int64_t* offset = NextNumber();
      if (!offset || *offset < 0 || *offset > kMaxFileSize)
        return Result::Failure("ByteEqual needs the number of a byte, from 0.");
      ByteCriterion byte{static_cast<std::uint32_t>(*offset)};
      if (const std::int64_t* value = NextNumber()) byte.value = static_cast<std::int32_t>(*value);
      if (!byte.value) criteria_.useFirstSelected = true;
      criteria_.bytes.push_back(byte);
    }
    return Result::Success();
  }

  // An expression, and more behind operators.
  Result ReadKeys() {
    const std::string* text = NextText();
    if (!text) return Result::Failure("Keys needs keywords.");
    criteria_.keys = *text;
    while (at_ + 1 < arguments_.size()) {
      const auto* step = std::get_if<std::string>(&arguments_[at_]);
      const auto* term = std::get_if<std::string>(&arguments_[at_ + 1]);
      if (!step || !term || !IsOperator(*step)) break;
      criteria_.keys += " " + *step + " \"" + *term + "\"";
      at_ += 2;
    }
    return Result::Success();
  }

  const std::vector<LibraryArgument>& arguments_;
  LibraryCriteria& criteria_;
  std::size_t at_ = 0;
};

}  // namespace

Result ReadChoose(const std::vector<LibraryArgument>& arguments, LibraryCriteria* criteria) {
  return ChooseReader(arguments, criteria).Run();
}

}  // namespace tonalith
