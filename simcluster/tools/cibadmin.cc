#include <algorithm>

#include "simcluster/tools/command_line.h"

namespace simcluster {
namespace {

constexpr char kRaiseAdminEpoch[] = "<cib admin_epoch=\"admin_epoch++\"/>";

std::vector<Element> Select(const Session& session, const std::string& xpath) {
  try {
    return session.cib.Find(xpath);
  } catch (const std::runtime_error& error) {
    throw Failure(kExitInvalid, error.what());
  }
}

Document ParseElement(const std::string& xml) {
  try {
    return Document(xml);
  } catch (const std::runtime_error& error) {
    throw Failure(kExitInvalid, error.what());
  }
}

std::string Query(const Session& session, const Arguments& values) {
  const std::vector<Element> found = Select(session, values[0]);
  if (found.empty()) throw Failure(kExitNotFound, "query: no such device or address");
  std::string text;
  for (const Element& element : found) text += element.Text(true);
  return found.size() == 1 ? text : "<xpath-query>\n" + text + "</xpath-query>\n";
}

// Adds location rules, wrapped in the sections that they go to.
std::string Create(const Session& session, const Arguments& values) {
  const Document document = ParseElement(values[0]);
  const Element constraints = document.root().Child("constraints");
  if (document.root().name() != "configuration" || !constraints ||
      document.root().Children().size() != 1) {
    throw Failure(kExitInvalid, "create: only constraints can be created");
  }
  for (const Element& rule : constraints.Children()) {
    for (const char* attribute : {"id", "rsc", "node", "score"}) {
      if (rule.name() != "rsc_location" || rule.Get(attribute).empty()) {
        throw Failure(kExitInvalid, "create: no location rule: " + rule.Text());
      }
    }
    if (session.cib.Configured(rule.id())) {
      throw Failure(kExitNotUnique, "create: name not unique on network: " + rule.id());
    }
    session.cib.section("constraints").AddCopy(rule);
  }
  return {};
}

// Deleting what is not there is no failure.
std::string DeleteSelected(const Session& session, const Arguments& values) {
  std::vector<Element> selected = Select(session, values[0]);
  if (std::ranges::any_of(selected, [](const auto& element) { return element.name() == "cib"; })) {
    throw Failure(kExitInvalid, "delete: the base itself cannot be deleted");
  }
  // The inner ones first, should they be nested.
  std::ranges::reverse(selected);
  for (const Element& element : selected) element.Remove();
  return {};
}

// Deletes what looks like the pattern: the same element with at least its attributes.
std::string DeleteLike(const Element& section, const std::string& xml) {
  const Document pattern = ParseElement(xml);
  for (const Element& element : section.Children(pattern.root().name())) {
    if (element.HasAttributesOf(pattern.root())) element.Remove();
  }
  return {};
}

std::string DeleteNodeEntry(const Session& session, const Arguments& values) {
  return DeleteLike(session.cib.section("nodes"), values[0]);
}

std::string DeleteStatus(const Session& session, const Arguments& values) {
  return DeleteLike(session.cib.status(), values[0]);
}

std::string Modify(const Session& session, const Arguments& values) {
  if (values[0] != kRaiseAdminEpoch) {
    throw Failure(kExitInvalid, "modify: only the admin epoch can be raised");
  }
  const Element root = session.cib.root();
  root.Set("admin_epoch", std::to_string(std::stoul(root.Get("admin_epoch")) + 1));
  return {};
}

std::string Erase(const Session& session, const Arguments&) {
  for (const Element& section : session.cib.configuration().Children()) section.RemoveChildren();
  session.cib.status().RemoveChildren();
  return {};
}

}  // namespace

Outcome Cibadmin(const Arguments& arguments) {
  static constexpr CommandLine kKnown[] = {
      {"-Ql --xpath ?", Query},
      {"--query --xpath ?", Query},
      {"--query --local --xpath ?", Query},
      {"--create -X ?", Create},
      {"--delete --xpath ?", DeleteSelected},
      {"--delete --obj_type nodes --crm_xml ?", DeleteNodeEntry},
      {"--delete --obj_type status --crm_xml ?", DeleteStatus},
      {"--modify --xml-text ?", Modify},
      {"--erase --force", Erase},
  };
  return RunCommandLine(kKnown, arguments);
}

}  // namespace simcluster
