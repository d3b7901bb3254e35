#include "bus/family.h"

namespace kt::bus {

bool Family::IsAncestor(const KtObjId& ancestor, const KtObjId& object) const {
  if (ObjIdEqual{}(ancestor, object)) return true;
  // What has no children is nobody's ancestor: new objects are attached without a walk.
  const auto known = nodes_.find(ancestor);
  if (known == nodes_.end() || known->second.children.empty()) return false;
  Ids seen;
  std::vector<KtObjId> open{object};
  while (!open.empty()) {
    const KtObjId next = open.back();
    open.pop_back();
    if (ObjIdEqual{}(next, ancestor)) return true;
    if (!seen.insert(next).second) continue;
    const auto node = nodes_.find(next);
    if (node == nodes_.end()) continue;
    open.insert(open.end(), node->second.parents.begin(), node->second.parents.end());
  }
  return false;
}

bool Family::Attach(const KtObjId& parent, const KtObjId& child) {
  // The object itself is its own ancestor here.
  if (IsAncestor(child, parent)) return false;
  const auto known = nodes_.find(child);
  if (known != nodes_.end() && known->second.parents.count(parent) != 0) return false;
  try {
    nodes_[child].parents.insert(parent);
    Node& above = nodes_[parent];
    above.order.emplace(child, next_);
    above.children.emplace_hint(above.children.end(), next_, child);
  } catch (...) {
    // All or nothing: a relation that only one of the two knows could never be mended.
    if (const auto below = nodes_.find(child); below != nodes_.end()) {
      below->second.parents.erase(parent);
    }
    if (const auto above = nodes_.find(parent); above != nodes_.end()) {
      above->second.order.erase(child);
    }
    DropIfEmpty(child);
    DropIfEmpty(parent);
    throw;
  }
  ++next_;
  return true;
}

void Family::RemoveChild(const KtObjId& parent, const KtObjId& child) {
  const auto above = nodes_.find(parent);
  if (above == nodes_.end()) return;
  const auto place = above->second.order.find(child);
  if (place == above->second.order.end()) return;
  above->second.children.erase(place->second);
  above->second.order.erase(place);
}

void Family::DropIfEmpty(const KtObjId& object) {
  const auto node = nodes_.find(object);
  if (node != nodes_.end() && node->second.children.empty() && node->second.parents.empty()) {
    nodes_.erase(node);
  }
}

bool Family::Detach(const KtObjId& parent, const KtObjId& child) {
  const auto below = nodes_.find(child);
  if (below == nodes_.end() || below->second.parents.erase(parent) == 0) return false;
  RemoveChild(parent, child);
  DropIfEmpty(child);
  DropIfEmpty(parent);
  return true;
}

void Family::Remove(const KtObjId& object) {
  const auto found = nodes_.find(object);
  if (found == nodes_.end()) return;
  const Node node = std::move(found->second);
  nodes_.erase(found);
  for (const KtObjId& parent : node.parents) {
    RemoveChild(parent, object);
    DropIfEmpty(parent);
  }
  for (const auto& [order, child] : node.children) {
    if (const auto below = nodes_.find(child); below != nodes_.end()) {
      below->second.parents.erase(object);
      DropIfEmpty(child);
    }
  }
}

std::vector<KtObjId> Family::ChildrenOf(const KtObjId& parent) const {
  std::vector<KtObjId> children;
  const auto node = nodes_.find(parent);
  if (node == nodes_.end()) return children;
  children.reserve(node->second.children.size());
  for (const auto& [order, child] : node->second.children) children.push_back(child);
  return children;
}

}  // namespace kt::bus
