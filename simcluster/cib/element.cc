#include "simcluster/cib/element.h"

#include <memory>
#include <new>

namespace simcluster {
namespace {

const xmlChar* Xml(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}
const xmlChar* Xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

xmlNode* OrNoMemory(xmlNode* node) {
  if (node == nullptr) throw std::bad_alloc();
  return node;
}

}  // namespace

std::string Element::Get(const char* attribute) const {
  const std::unique_ptr<xmlChar, decltype(xmlFree)> value(xmlGetProp(node_, Xml(attribute)),
                                                          xmlFree);
  return value ? reinterpret_cast<const char*>(value.get()) : "";
}

void Element::Set(const char* attribute, const std::string& value) const {
  if (xmlSetProp(node_, Xml(attribute), Xml(value)) == nullptr) throw std::bad_alloc();
}

void Element::Unset(const char* attribute) const { xmlUnsetProp(node_, Xml(attribute)); }

bool Element::HasAttributesOf(const Element& other) const {
  for (const xmlAttr* wanted = other.node_->properties; wanted != nullptr; wanted = wanted->next) {
    const auto* attribute = reinterpret_cast<const char*>(wanted->name);
    if (xmlHasProp(node_, wanted->name) == nullptr || Get(attribute) != other.Get(attribute)) {
      return false;
    }
  }
  return true;
}

std::vector<Element> Element::Children() const {
  std::vector<Element> children;
  for (xmlNode* child = xmlFirstElementChild(node_); child != nullptr;
       child = xmlNextElementSibling(child)) {
    children.emplace_back(child);
  }
  return children;
}

std::vector<Element> Element::Children(const std::string& name) const {
  std::vector<Element> children = Children();
  std::erase_if(children, [&](const Element& child) { return child.name() != name; });
  return children;
}

Element Element::Child(const std::string& name) const {
  const std::vector<Element> children = Children(name);
  return children.empty() ? Element() : children.front();
}

Element Element::ChildOrNew(const std::string& name,
                            std::initializer_list<Attribute> attributes) const {
  const Element child = Child(name);
  return child ? child : Add(name, attributes);
}

Element Element::Add(const std::string& name, std::initializer_list<Attribute> attributes) const {
  const Element child(OrNoMemory(xmlNewChild(node_, nullptr, Xml(name), nullptr)));
  for (const auto& [attribute, value] : attributes) child.Set(attribute, value);
  return child;
}

void Element::AddCopy(const Element& original) const {
  xmlAddChild(node_, OrNoMemory(xmlDocCopyNode(original.node_, node_->doc, 1)));
}

void Element::MoveTo(const Element& parent) const {
  xmlUnlinkNode(node_);
  xmlAddChild(parent.node_, node_);
}

void Element::Remove() const {
  xmlUnlinkNode(node_);
  xmlFreeNode(node_);
}

void Element::RemoveChildren() const {
  for (const Element& child : Children()) child.Remove();
}

std::string Element::Text(bool pretty) const {
  const std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer(xmlBufferCreate(),
                                                                    xmlBufferFree);
  if (!buffer || xmlNodeDump(buffer.get(), node_->doc, node_, 0, pretty ? 1 : 0) < 0) {
    throw std::bad_alloc();
  }
  const std::string text = reinterpret_cast<const char*>(xmlBufferContent(buffer.get()));
  return pretty ? text + "\n" : text;
}

}  // namespace simcluster
