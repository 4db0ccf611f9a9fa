#include "app/desktop_menu.h"

#include <sys/stat.h>

#include <QAction>
#include <QMenu>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

// Folders inside folders; a link that leads back to its own folder ends here.
constexpr int kDeepest = 8;

bool IsReadOnly(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) != 0 || (info.st_mode & S_IWUSR) == 0;
}

const DiskStructure::Node* Find(const DiskStructure::Node& node, const auto& wanted) {
  if (wanted(node)) return &node;
  for (const auto& child : node.children) {
    if (const auto* found = Find(child, wanted)) return found;
  }
  return nullptr;
}

}  // namespace

DiskStructure::DiskStructure(std::string folder, int firstNumber) : first_(firstNumber) {
  while (folder.size() > 1 && (folder.back() == '\\' || folder.back() == '/')) folder.pop_back();
  root_.isFolder = true;
  root_.number = firstNumber;
  root_.name = FileNameOf(folder);
  root_.path = std::move(folder);
  Build();
}

void DiskStructure::Build() {
  next_ = first_ + 1;
  root_.children.clear();
  Enumerate(root_, 0);
}

void DiskStructure::Enumerate(Node& folder, int depth) {
  for (const std::string& name : ListFolder(folder.path, "*.pvw", ListWhat::Both)) {
    if (next_ > kLastDesktopCommand) return;
    Node node;
    node.name = name;
    node.path = JoinPath(folder.path, name);
    if (IsReadOnly(node.path)) continue;
    node.number = next_++;
    node.isFolder = FolderExists(node.path);
    if (node.isFolder && depth < kDeepest) Enumerate(node, depth + 1);
    folder.children.push_back(std::move(node));
  }
}

const DiskStructure::Node* DiskStructure::FindId(int number) const {
  return number == 0 ? nullptr : Find(root_, [number](const Node& node) { return node.number == number; });
}

const DiskStructure::Node* DiskStructure::FindFile(const std::string& name) const {
  return Find(root_, [&name](const Node& node) { return !node.isFolder && AsciiEqualNoCase(node.name, name); });
}

void BuildSubMenu(QMenu* menu, const DiskStructure::Node& folder) {
  for (const auto& node : folder.children) {
    if (node.number == 0) {
      menu->addSeparator();
    } else if (node.isFolder) {
      BuildSubMenu(AddSubmenu(menu, ShownUtf8(node.name)), node);
    } else {
      AddEntry(menu, ShownUtf8(node.name))->setData(node.number);
    }
  }
}

}  // namespace tonalith
