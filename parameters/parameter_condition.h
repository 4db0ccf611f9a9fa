#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "parameters/field_place.h"
#include "parameters/notation_fault.h"
#include "parameters/patch_bytes.h"

namespace tonalith {

// When a parameter is there at all: other fields of the patch say so.  The notation is a list of tests with commas
// between, all of which must be true:
//
//   voice mode in 0..2       the parameter of that name has one of these values; a name with a comma stands in quotes
//   byte 59 in 3..6          the place (see FieldPlace) holds one of these
//   byte 59 in 4             this one
//   voice mode in 2-1..2     a number less another one: what braces of a repeat leave
struct ParameterCondition {
  struct Test {
    std::string name;  // of a parameter; empty: a place
    FieldPlace place;
    FieldRange range;
    bool operator==(const Test& other) const;
  };
  std::vector<Test> tests;

  bool Holds(const ConstPatchBytes& patch) const;
  // There is no patch of which both hold.
  bool Excludes(const ParameterCondition& other) const;
  // The notation, with whole places.
  std::string Text() const;
  // The same with places instead of names, for where no table is at hand.
  std::string PlacesText() const;
};

// Reads the notation; the places of tests with a name stay open.  `base` counts for those of bytes.
std::optional<NotationFault> ParseParameterCondition(std::string_view text, bool sevenBit, const FieldBase& base,
                                                     ParameterCondition* out);

// The text with other names in its tests: `other` gives the one that is meant, or nothing.
std::string ConditionWithNames(std::string_view text, const std::function<std::string(const std::string&)>& other);

}  // namespace tonalith
