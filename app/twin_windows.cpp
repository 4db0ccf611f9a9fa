#include "app/twin_windows.h"

#include <map>
#include <set>

#include "ui/plain_text.h"
#include "ui/window_base.h"

namespace tonalith {

QString TabName(const ZKWindow& window) {
  const QString own = window.TabText();
  return own.isEmpty() ? ShownTitle(&window) : ShownLine(own);
}

std::vector<ZKWindow*> NumberTwins(const std::vector<ZKWindow*>& windows) {
  std::map<QString, std::vector<ZKWindow*>> groups;
  for (ZKWindow* window : windows) groups[TabName(*window)].push_back(window);
  std::vector<ZKWindow*> renamed;
  const auto give = [&renamed](ZKWindow* window, int number) {
    if (window->Twin() == number) return;
    window->SetTwin(number);
    renamed.push_back(window);
  };
  for (const auto& group : groups) {
    const std::vector<ZKWindow*>& twins = group.second;
    if (twins.size() == 1) {
      give(twins.front(), 0);
      continue;
    }
    std::set<int> taken;
    std::vector<ZKWindow*> without;
    for (ZKWindow* window : twins)
      if (window->Twin() == 0 || !taken.insert(window->Twin()).second) without.push_back(window);
    int next = 1;
    for (ZKWindow* window : without) {
      while (!taken.insert(next).second) ++next;
      give(window, next);
    }
  }
  return renamed;
}

}  // namespace tonalith
