#include "tree_report.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "property_text.h"
#include "text_table.h"

namespace ktsvc {
namespace {

// Providers decide how deep a tree is. Below this level the lines stay where they are and say their
// level, so that a long chain makes a long report and not one as wide as it is long.
constexpr std::size_t kDeepestIndent = 32;
constexpr std::size_t kStep = 2;

// The blanks in front of a line, `steps` to each level.
std::string Indent(std::size_t level, std::size_t steps) {
  return std::string(kStep + kStep * steps * std::min(level, kDeepestIndent), ' ');
}

std::string LevelMark(std::size_t level) {
  return level <= kDeepestIndent ? "" : "(level " + std::to_string(level) + ") ";
}

// What is still to be written, the next one last: a walk without recursion, since the depth is not
// ours to bound.
template <typename View>
class Agenda {
 public:
  // The first of these is the next one.
  template <typename Views>
  void Add(const Views& views, std::size_t level) {
    for (auto view = views.rbegin(); view != views.rend(); ++view) {
      entries_.push_back({*view, level});
    }
  }
  [[nodiscard]] bool empty() const noexcept { return entries_.empty(); }

  struct Entry {
    const View* view;
    std::size_t level;
  };
  Entry Next() {
    const Entry next = entries_.back();
    entries_.pop_back();
    return next;
  }

 private:
  std::vector<Entry> entries_;
};

std::string InterfaceLabel(const KtGuid& id) {
  const std::string_view name = InterfaceName(id);
  return name.empty() ? "-" : std::string(name);
}

std::vector<std::string> InterfaceRow(const InterfaceView& view, const std::string& owner) {
  std::string note;
  if (view.owner != owner) {
    note = "by " + NameText(view.owner);
  }
  if (!view.offeredBy.empty()) {
    note += (note.empty() ? "" : ", ") + ("through " + NameText(view.offeredBy));
  }
  if (view.ownerGone) {
    note += (note.empty() ? "" : ", ") + std::string("provider gone");
  }
  return {InterfaceLabel(view.id), GuidText(view.id), note};
}

// Lines with a label in front of the first and blanks of its width in front of the others.
std::string Labelled(const std::string& indent, const std::string& label, const TextTable& table) {
  std::string text;
  std::string front = indent + label;
  for (const std::string& line : table.Lines("")) {
    text += front + line + "\n";
    front = indent + std::string(label.size(), ' ');
  }
  return text;
}

std::string Details(const std::string& indent, const PropertyList& properties,
                    const std::vector<InterfaceView>& interfaces, const std::string& owner) {
  TextTable has;
  for (const Property& property : properties) {
    has.Add({NameText(property.name), TypeName(property.type), ValueText(property)});
  }
  TextTable offers;
  for (const InterfaceView& view : interfaces) {
    offers.Add(InterfaceRow(view, owner));
  }
  return Labelled(indent, "has     ", has) + Labelled(indent, "offers  ", offers);
}

std::string Count(std::uint64_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

// ---- Types -------------------------------------------------------------------------------------

class TypeTree {
 public:
  explicit TypeTree(const std::vector<TypeView>& types) {
    for (const TypeView& type : types) {
      const std::string parent = type.superclasses.empty() ? "" : type.superclasses.front();
      children_[parent].push_back(&type);
    }
  }

  [[nodiscard]] std::string Text() const {
    std::string text;
    Agenda<TypeView> agenda;
    AddChildren("", 0, agenda);
    while (!agenda.empty()) {
      const auto [type, level] = agenda.Next();
      text += One(*type, level);
      AddChildren(type->name, level + 1, agenda);
    }
    return text;
  }

 private:
  void AddChildren(const std::string& parent, std::size_t level, Agenda<TypeView>& agenda) const {
    const auto found = children_.find(parent);
    if (found != children_.end()) {
      agenda.Add(found->second, level);
    }
  }

  static std::string One(const TypeView& type, std::size_t level) {
    const std::string indent = Indent(level, 1);
    std::string text = indent + LevelMark(level) + NameText(type.name);
    for (std::size_t i = 1; i < type.superclasses.size(); ++i) {
      text += (i == 1 ? ", also a " : " and a ") + NameText(type.superclasses[i]);
    }
    if (type.objectCount != 0) {
      text += "  (" + Count(type.objectCount, "object") + ")";
    }
    return text + "\n" +
           Details(indent + std::string(2 * kStep, ' '), type.properties, type.interfaces, "");
  }

  std::map<std::string, std::vector<const TypeView*>> children_;
};

// ---- Objects -----------------------------------------------------------------------------------

// A property that people know an object by, quoted, with a blank behind it; empty without one.
std::string NameOf(const ObjectView& object) {
  for (const char* key : {"Name", "name"}) {
    const Property* property = FindProperty(object.properties, key);
    if (property != nullptr && (property->type == TYPE_STR || property->type == TYPE_WSTR)) {
      return ValueText(*property) + " ";
    }
  }
  return {};
}

class ObjectTree {
 public:
  explicit ObjectTree(const std::vector<ObjectView>& objects) : objects_(objects) {
    for (const ObjectView& object : objects) {
      byId_[GuidText(object.id.guid)] = &object;
      for (const KtObjId& child : object.children) {
        isChild_.insert(GuidText(child.guid));
      }
    }
  }

  std::string Text() {
    std::string text;
    std::vector<const ObjectView*> roots;
    for (const ObjectView& object : objects_) {
      if (!isChild_.contains(GuidText(object.id.guid))) {
        roots.push_back(&object);
      }
    }
    Agenda<ObjectView> agenda;
    agenda.Add(roots, 0);
    while (!agenda.empty()) {
      const auto [object, level] = agenda.Next();
      const bool first = shown_.insert(GuidText(object->id.guid)).second;
      text += One(*object, level, first);
      if (first) {
        agenda.Add(ChildrenOf(*object), level + 1);
      }
    }
    return text;
  }

 private:
  [[nodiscard]] std::vector<const ObjectView*> ChildrenOf(const ObjectView& object) const {
    std::vector<const ObjectView*> children;
    for (const KtObjId& child : object.children) {
      const auto found = byId_.find(GuidText(child.guid));
      if (found != byId_.end()) {  // it may have gone since its parent was looked at
        children.push_back(found->second);
      }
    }
    return children;
  }

  static std::string One(const ObjectView& object, std::size_t level, bool first) {
    const std::string indent = Indent(level, 2);
    const std::string heading = indent + LevelMark(level) + NameText(object.type) + " " +
                                NameOf(object) + GuidText(object.id.guid);
    if (!first) {
      return heading + "  (shown above)\n";
    }
    return heading + "  from " + NameText(object.owner) + "\n" +
           Details(indent + std::string(2 * kStep, ' '), object.properties, object.interfaces,
                   object.owner);
  }

  const std::vector<ObjectView>& objects_;
  std::map<std::string, const ObjectView*> byId_;
  std::set<std::string> isChild_;
  std::set<std::string> shown_;
};

}  // namespace

std::string TypesText(const BusSnapshot& snapshot) {
  return "Types\n" + TypeTree(snapshot.types).Text() + "\n";
}

std::string ObjectsText(const BusSnapshot& snapshot) {
  const std::string text = ObjectTree(snapshot.objects).Text();
  return "Objects\n" + (text.empty() ? std::string("  none\n") : text) + "\n";
}

}  // namespace ktsvc
