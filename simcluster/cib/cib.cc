#include "simcluster/cib/cib.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xpath.h>

#include <cstdlib>
#include <stdexcept>

namespace simcluster {
namespace {

constexpr char kEmptyCib[] =
    "<cib admin_epoch=\"0\" epoch=\"0\" num_updates=\"0\"><configuration><crm_config/><nodes/>"
    "<resources/><constraints/><rsc_defaults/></configuration><status/></cib>";

// What libxml2 has to say goes into our exceptions, not to standard error.
void Silence() {
  xmlSetStructuredErrorFunc(nullptr, [](void*, auto*) {});
}

[[noreturn]] void ThrowLastError(const std::string& what) {
  const auto* error = xmlGetLastError();
  std::string reason = error != nullptr && error->message != nullptr ? error->message : "";
  while (reason.ends_with('\n')) reason.pop_back();
  throw std::runtime_error(reason.empty() ? what : what + ": " + reason);
}

// Of the elements, the one with that id, or none.
Element WithId(const std::vector<Element>& elements, const std::string& id) {
  for (const Element& element : elements) {
    if (element.id() == id) return element;
  }
  return {};
}

Element FindPair(const Element& owner, const std::string& set, const std::string& name) {
  for (const Element& attributes : owner.Children(set)) {
    for (const Element& pair : attributes.Children("nvpair")) {
      if (pair.Get("name") == name) return pair;
    }
  }
  return {};
}

Element WithIdBelow(const Element& parent, const std::string& id) {
  for (const Element& child : parent.Children()) {
    // A reference has the id of what it refers to.
    if (child.name() != "resource_ref" && child.id() == id) return child;
    if (const Element below = WithIdBelow(child, id)) return below;
  }
  return {};
}

std::string FailCountName(const std::string& primitive) { return "fail-count-" + primitive; }

}  // namespace

Document::Document(const std::string& text) {
  Silence();
  document_.reset(xmlReadMemory(text.data(), static_cast<int>(text.size()), "cib", nullptr,
                                XML_PARSE_NOBLANKS | XML_PARSE_NONET));
  if (!document_) ThrowLastError("no well-formed XML");
}

std::vector<Element> Document::Find(const std::string& xpath) const {
  Silence();
  const std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> context(
      xmlXPathNewContext(document_.get()), xmlXPathFreeContext);
  if (!context) throw std::bad_alloc();
  const std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> result(
      xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath.c_str()), context.get()),
      xmlXPathFreeObject);
  if (!result) ThrowLastError("no XPath: " + xpath);
  std::vector<Element> found;
  if (result->type != XPATH_NODESET || result->nodesetval == nullptr) return found;
  for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
    xmlNode* node = result->nodesetval->nodeTab[i];
    if (node->type == XML_ELEMENT_NODE) found.emplace_back(node);
  }
  return found;
}

Cib::Cib() : Document(kEmptyCib) {}

Element Cib::Node(const std::string& host) const {
  return WithId(section("nodes").Children("node"), host);
}

Element Cib::NodeState(const std::string& host) const {
  return WithId(status().Children("node_state"), host);
}

std::vector<std::string> Cib::NodeNames() const {
  std::vector<std::string> names;
  for (const Element& node : section("nodes").Children("node")) names.push_back(node.id());
  return names;
}

void Cib::AddNode(const std::string& host) const {
  if (!Node(host)) section("nodes").Add("node", {{"id", host}, {"uname", host}});
  if (!NodeState(host)) status().Add("node_state", {{"id", host}, {"uname", host}});
}

Element Cib::Configured(const std::string& id) const { return WithIdBelow(configuration(), id); }

bool Cib::IsStandby(const std::string& host) const {
  const Element node = Node(host);
  return node && Pair(node, "instance_attributes", "standby") == "on";
}

void Cib::SetStandby(const std::string& host, bool standby) const {
  SetPair(Node(host), "instance_attributes", "standby", standby ? "on" : "off");
}

int Cib::FailCount(const std::string& host, const std::string& primitive) const {
  const Element state = NodeState(host);
  const Element transient = state ? state.Child("transient_attributes") : Element();
  if (!transient) return 0;
  return atoi(Pair(transient, "instance_attributes", FailCountName(primitive)).c_str());
}

void Cib::AddFailure(const std::string& host, const std::string& primitive) const {
  const Element state = NodeState(host);
  SetPairIn(state.ChildOrNew("transient_attributes", {{"id", host}})
                .ChildOrNew("instance_attributes", {{"id", "status-" + host}}),
            FailCountName(primitive), std::to_string(FailCount(host, primitive) + 1));
}

void Cib::ClearFailures(const std::string& host) const {
  if (const Element transient = NodeState(host).Child("transient_attributes")) transient.Remove();
}

std::string Cib::Pair(const Element& owner, const std::string& set, const std::string& name) {
  const Element pair = FindPair(owner, set, name);
  return pair ? pair.Get("value") : "";
}

void Cib::SetPair(const Element& owner, const std::string& set, const std::string& name,
                  const std::string& value) {
  SetPairIn(owner.ChildOrNew(set, {{"id", owner.id() + "-" + set}}), name, value);
}

void Cib::SetPairIn(const Element& set, const std::string& name, const std::string& value) {
  for (const Element& pair : set.Children("nvpair")) {
    if (pair.Get("name") == name) return pair.Set("value", value);
  }
  set.Add("nvpair", {{"id", set.id() + "-" + name}, {"name", name}, {"value", value}});
}

bool Cib::RemovePair(const Element& owner, const std::string& set, const std::string& name) {
  const Element pair = FindPair(owner, set, name);
  if (pair) pair.Remove();
  return bool{pair};
}

}  // namespace simcluster
