// Verbs about objects: ls, tree, show, get.

#include <cstddef>
#include <map>

#include "access/interface_names.h"
#include "document_text.h"
#include "exit_status.h"
#include "object_finder.h"
#include "object_tree.h"
#include "property_text.h"
#include "verbs.h"

namespace ktctl {
namespace {

using Kind = Column::Kind;

Json PageOf(const std::vector<Json>& objects) {
  Json page = Json::object();
  page["items"] = objects;
  page["next"] = nullptr;
  return page;
}

// Who serves an interface where that is not the owner of the object, and through which type.
std::string NoteOf(const Json& interface, const Json& owner) {
  std::string note;
  const auto add = [&note](const std::string& text) { note += (note.empty() ? "" : ", ") + text; };
  if (interface.at("owner") != owner) {
    add("by " + TextOf(interface.at("owner")));
  }
  if (!interface.at("offeredBy").is_null()) {
    add("through " + TextOf(interface.at("offeredBy")));
  }
  if (interface.at("ownerGone").get<bool>()) {
    add("provider gone");
  }
  return note;
}

// For each object TYPE/NAME where that names it alone among these, else its id.
std::string NamesText(const std::vector<Json>& objects) {
  std::map<std::string, std::size_t> times;
  std::vector<std::string> names;
  for (const Json& object : objects) {
    const std::string name = NameOf(object);
    names.push_back(name.empty() ? "" : TextOf(object.at("type")) + "/" + name);
    ++times[names.back()];
  }
  std::string text;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const bool alone = !names[i].empty() && times[names[i]] == 1;
    text += (alone ? names[i] : TextOf(objects[i].at("id"))) + "\n";
  }
  return text;
}

std::string PropertiesText(const Json& properties, const Screen& screen) {
  Table table({{"PROPERTY"}, {"TYPE"}, {"VALUE", Kind::kCut}});
  for (const Json& property : properties) {
    table.Add({{TextOf(property.at("name")), Style::kName},
               {TextOf(property.at("type")), Style::kFaint},
               ValueOf(property)});
  }
  return table.empty() ? "" : "\n" + table.Text(screen);
}

std::string InterfacesText(const Json& object, const Screen& screen) {
  Table table({{"OFFERS"}, {"INTERFACE"}, {""}});
  for (const Json& interface : object.at("interfaces")) {
    const Json& name = interface.at("name");
    table.Add({{name.is_null() ? "-" : TextOf(name), Style::kName},
               TextOf(interface.at("id")),
               {NoteOf(interface, object.at("owner")), Style::kFaint}});
  }
  return table.empty() ? "" : "\n" + table.Text(screen);
}

std::string ChildrenText(const Json& children, const Screen& screen) {
  Table table({{"CHILD"}, {"TYPE"}, {"NAME", Kind::kCut}});
  for (const Json& child : children) {
    table.Add({TextOf(child.at("id")), TextOf(child.at("type")), {NameOf(child), Style::kName}});
  }
  return table.empty() ? "" : "\n" + table.Text(screen);
}

}  // namespace

std::string FindObjectOf(const Session& session, const std::string& word) {
  BusContents contents;
  contents.types = [&session] {
    Json document = session.service.Get("/v1/types");
    return document.at("items").get<std::vector<Json>>();
  };
  contents.objects = [&session](const std::string& type) {
    return session.service.Objects(type, "");
  };
  return FindObject(word, contents);
}

int ListObjects(const Session& session) {
  const std::string& interface = session.options.interface;
  if (!interface.empty() && !ktsvc::access::InterfaceFromText(interface)) {
    throw Refusal(kExitWrongWords, ktsvc::QuotedText(interface) + " is no interface",
                  "Name one of " + ktsvc::access::InterfaceNameList() + ", or give its GUID.");
  }
  const std::vector<Json> objects = session.service.Objects(session.options.type, interface);
  if (session.options.names) {
    session.Show(PageOf(objects), NamesText(objects));
    return kExitDone;
  }
  Table table(
      {{"ID"}, {"TYPE"}, {"NAME", Kind::kCut}, {"PROVIDER", Kind::kCut}, {"OFFERS", Kind::kCut}});
  for (const Json& object : objects) {
    table.Add({TextOf(object.at("id")),
               TextOf(object.at("type")),
               {NameOf(object), Style::kName},
               TextOf(object.at("owner")),
               InterfacesOf(object.at("interfaces"))});
  }
  session.Show(PageOf(objects), table, "there is no such object");
  return kExitDone;
}

int ShowTree(const Session& session) {
  const std::string root =
      session.options.object.empty() ? "" : FindObjectOf(session, session.options.object);
  const std::vector<Json> objects = session.service.Objects("", "");
  const std::string text = ObjectTreeText(objects, root, session.screen);
  if (!root.empty() && text.empty()) {
    throw Refusal(kExitWrongWords, "no object " + root, "ktctl ls lists them.");
  }
  session.Show(PageOf(objects), text);
  return kExitDone;
}

int ShowObject(const Session& session) {
  const std::string path = "/v1/objects/" + Escaped(FindObjectOf(session, session.options.object));
  const Json object = session.service.Get(path);
  if (session.options.json) {
    session.Show(object, "");
    return kExitDone;
  }
  const Screen& screen = session.screen;
  const Painter painter(screen.colours);
  const std::string name = NameOf(object);
  const Json children = object.at("children").empty()
                            ? Json::array()
                            : session.service.Get(path + "/children").at("items");
  session.Show(
      object, painter.Paint(Style::kHeading, TextOf(object.at("type"))) +
                  (name.empty() ? "" : " " + painter.Paint(Style::kName, "\"" + name + "\"")) +
                  " " + TextOf(object.at("id")) + "  from " + TextOf(object.at("owner")) + "\n" +
                  PropertiesText(object.at("properties"), screen) + InterfacesText(object, screen) +
                  ChildrenText(children, screen));
  return kExitDone;
}

int GetProperty(const Session& session) {
  const Json property =
      session.service.Get("/v1/objects/" + Escaped(FindObjectOf(session, session.options.object)) +
                          "/properties/" + Escaped(session.options.name));
  std::string text;
  for (const std::string& line : LinesOf(property)) {
    text += line + "\n";
  }
  session.Show(property, text);
  return kExitDone;
}

}  // namespace ktctl
