#include "object_tree.h"

#include <map>
#include <set>

#include "document_text.h"
#include "painter.h"

namespace ktctl {
namespace {

constexpr std::size_t kDeepestIndent = 32;

// What stands in front of a line.
struct Rails {
  const char* child;      // before a child that has siblings behind it
  const char* lastChild;  // before the last one
  const char* through;    // below the former
  const char* empty;      // below the latter
};
constexpr Rails kLines{"\xE2\x94\x9C\xE2\x94\x80 ", "\xE2\x94\x94\xE2\x94\x80 ", "\xE2\x94\x82  ",
                       "   "};
constexpr Rails kAscii{"|- ", "`- ", "|  ", "   "};

class Tree {
 public:
  Tree(const std::vector<Json>& objects, const Screen& screen)
      : objects_(objects), painter_(screen.colours), rails_(screen.utf8 ? kLines : kAscii) {
    for (const Json& object : objects) {
      byId_.emplace(IdOf(object), &object);
      for (const Json& child : object.at("children")) {
        children_.insert(child.get<std::string>());
      }
    }
  }

  void Add(const std::string& root) {
    if (const auto found = byId_.find(root); found != byId_.end()) {
      Walk(*found->second);
    }
  }

  void AddAll() {
    for (const bool roots : {true, false}) {  // then those that are in a circle
      for (const Json& object : objects_) {
        if (!shown_.contains(IdOf(object)) && (!roots || !children_.contains(IdOf(object)))) {
          Walk(object);
        }
      }
    }
  }

  [[nodiscard]] const std::string& text() const noexcept { return text_; }

 private:
  // A line that is still to be written.
  struct Entry {
    const Json* object;
    std::size_t level;
    std::string front;  // of the line
    std::string below;  // of the lines of its children, before their own rail
  };

  static std::string IdOf(const Json& object) { return object.at("id").get<std::string>(); }

  // Without recursion, since the depth is not ours to bound.
  void Walk(const Json& root) {
    std::vector<Entry> agenda{{&root, 0, "", ""}};
    while (!agenda.empty()) {
      const Entry entry = agenda.back();
      agenda.pop_back();
      const bool first = shown_.insert(IdOf(*entry.object)).second;
      AddLine(entry, first);
      if (!first) {
        continue;
      }
      std::vector<const Json*> children;
      for (const Json& id : entry.object->at("children")) {
        // One may have come or gone while the pages were read.
        if (const auto found = byId_.find(id.get<std::string>()); found != byId_.end()) {
          children.push_back(found->second);
        }
      }
      for (std::size_t i = children.size(); i > 0; --i) {
        const bool last = i == children.size();
        if (entry.level < kDeepestIndent) {
          agenda.push_back({children[i - 1], entry.level + 1,
                            entry.below + (last ? rails_.lastChild : rails_.child),
                            entry.below + (last ? rails_.empty : rails_.through)});
        } else {
          agenda.push_back({children[i - 1], entry.level + 1, entry.below, entry.below});
        }
      }
    }
  }

  void AddLine(const Entry& entry, bool first) {
    const std::string name = NameOf(*entry.object);
    std::string line = painter_.Paint(Style::kFaint, entry.front);
    if (entry.level > kDeepestIndent) {
      line += "(level " + std::to_string(entry.level) + ") ";
    }
    line += TextOf(entry.object->at("type"));
    if (!name.empty()) {
      line += " " + painter_.Paint(Style::kName, "\"" + name + "\"");
    }
    line += " " + painter_.Paint(Style::kFaint, IdOf(*entry.object));
    text_ += line + (first ? "\n" : "  (shown above)\n");
  }

  const std::vector<Json>& objects_;
  const Painter painter_;
  const Rails& rails_;
  std::map<std::string, const Json*> byId_;
  std::set<std::string> children_;  // ids of all that are somebody's
  std::set<std::string> shown_;
  std::string text_;
};

}  // namespace

std::string ObjectTreeText(const std::vector<Json>& objects, const std::string& root,
                           const Screen& screen) {
  Tree tree(objects, screen);
  if (root.empty()) {
    tree.AddAll();
  } else {
    tree.Add(root);
  }
  return tree.text();
}

}  // namespace ktctl
