#include "tree_report.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "property_text.h"
#include "text_table.h"

namespace ktsvc {
namespace {

constexpr const char* kStep = "  ";

std::string InterfaceLabel(const KtGuid& id) {
  const std::string_view name = InterfaceName(id);
  return name.empty() ? "-" : std::string(name);
}

std::vector<std::string> InterfaceRow(const InterfaceView& view, const std::string& owner) {
  std::string note;
  if (view.owner != owner) {
    note = "by " + view.owner;
  }
  if (!view.offeredBy.empty()) {
    note += (note.empty() ? "" : ", ") + ("through " + view.offeredBy);
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
    has.Add({property.name, TypeName(property.type), ValueText(property)});
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

  [[nodiscard]] std::string Text(const std::string& parent, const std::string& indent) const {
    std::string text;
    const auto found = children_.find(parent);
    if (found == children_.end()) {
      return text;
    }
    for (const TypeView* type : found->second) {
      text += indent + type->name;
      for (std::size_t i = 1; i < type->superclasses.size(); ++i) {
        text += (i == 1 ? ", also a " : " and a ") + type->superclasses[i];
      }
      if (type->objectCount != 0) {
        text += "  (" + Count(type->objectCount, "object") + ")";
      }
      text += "\n" + Details(indent + kStep + kStep, type->properties, type->interfaces, "");
      text += Text(type->name, indent + kStep);
    }
    return text;
  }

 private:
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
    for (const ObjectView& object : objects_) {
      if (!isChild_.contains(GuidText(object.id.guid))) {
        text += One(object, kStep);
      }
    }
    return text;
  }

 private:
  std::string One(const ObjectView& object, const std::string& indent) {
    const std::string id = GuidText(object.id.guid);
    const std::string heading = indent + object.type + " " + NameOf(object) + id;
    if (!shown_.insert(id).second) {
      return heading + "  (shown above)\n";
    }
    std::string text = heading + "  from " + object.owner + "\n";
    const std::string inner = indent + kStep + kStep;
    text += Details(inner, object.properties, object.interfaces, object.owner);
    for (const KtObjId& child : object.children) {
      const auto found = byId_.find(GuidText(child.guid));
      if (found != byId_.end()) {  // it may have gone since its parent was looked at
        text += One(*found->second, inner);
      }
    }
    return text;
  }

  const std::vector<ObjectView>& objects_;
  std::map<std::string, const ObjectView*> byId_;
  std::set<std::string> isChild_;
  std::set<std::string> shown_;
};

}  // namespace

std::string TypesText(const BusSnapshot& snapshot) {
  return "Types\n" + TypeTree(snapshot.types).Text("", kStep) + "\n";
}

std::string ObjectsText(const BusSnapshot& snapshot) {
  const std::string text = ObjectTree(snapshot.objects).Text();
  return "Objects\n" + (text.empty() ? std::string("  none\n") : text) + "\n";
}

}  // namespace ktsvc
