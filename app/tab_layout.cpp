#include "app/tab_layout.h"

#include <algorithm>

namespace tonalith {

namespace {

// Panes touch; units of desktop files round.
constexpr int kRounding = 3;

struct Group {
  DesktopRect place;
  std::vector<std::size_t> windows;
};
using Groups = std::vector<Group>;

int Begin(const DesktopRect& place, bool across) {
  return across ? place.x : place.y;
}

int Length(const DesktopRect& place, bool across) {
  return across ? place.width : place.height;
}

// The groups up to the first cut that goes through none of them; all when there is no such cut.
std::size_t BeforeCut(Groups& groups, bool across) {
  std::stable_sort(groups.begin(), groups.end(), [across](const Group& one, const Group& other) {
    return Begin(one.place, across) < Begin(other.place, across);
  });
  int end = 0;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (i > 0 && Begin(groups[i].place, across) >= end - kRounding) return i;
    end = std::max(end, Begin(groups[i].place, across) + Length(groups[i].place, across));
  }
  return groups.size();
}

int Extent(const Groups& groups, bool across) {
  int begin = Begin(groups.front().place, across);
  int end = begin;
  for (const Group& group : groups) {
    begin = std::min(begin, Begin(group.place, across));
    end = std::max(end, Begin(group.place, across) + Length(group.place, across));
  }
  return std::max(1, end - begin);
}

bool Divide(Groups groups, TabLayout* layout);

// False: no straight cut this way.
bool Cut(Groups groups, bool across, TabLayout* layout) {
  std::size_t first = BeforeCut(groups, across);
  if (first == groups.size()) return false;
  layout->sideBySide = across;
  while (!groups.empty()) {
    const auto middle = groups.begin() + static_cast<std::ptrdiff_t>(first);
    Groups part(groups.begin(), middle);
    groups.erase(groups.begin(), middle);
    layout->shares.push_back(Extent(part, across));
    if (!Divide(std::move(part), &layout->parts.emplace_back())) return false;
    if (!groups.empty()) first = BeforeCut(groups, across);
  }
  return true;
}

bool Divide(Groups groups, TabLayout* layout) {
  if (groups.size() == 1) {
    layout->windows = std::move(groups.front().windows);
    return true;
  }
  for (const bool across : {true, false}) {
    *layout = {};
    if (Cut(groups, across, layout)) return true;
  }
  return false;
}

bool SamePlace(const DesktopRect& one, const DesktopRect& other) {
  return one.x == other.x && one.y == other.y && one.width == other.width && one.height == other.height;
}

}  // namespace

TabLayout LayoutOf(std::span<const DesktopRect> places) {
  Groups groups;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const auto same = std::find_if(groups.begin(), groups.end(),
                                   [&](const Group& group) { return SamePlace(group.place, places[i]); });
    if (same == groups.end()) {
      groups.push_back({places[i], {i}});
    } else {
      same->windows.push_back(i);
    }
  }
  TabLayout layout;
  if (!groups.empty() && groups.size() <= kMostPanes && Divide(groups, &layout)) return layout;
  layout = {};
  for (std::size_t i = 0; i < places.size(); ++i) layout.windows.push_back(i);
  return layout;
}

}  // namespace tonalith
