// An element of an XML document, without the ceremony of libxml2. It owns nothing: the document
// does, and an Element must not be used after it.
#ifndef SIMCLUSTER_CIB_ELEMENT_H_
#define SIMCLUSTER_CIB_ELEMENT_H_

#include <libxml/tree.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace simcluster {

class Element {
 public:
  using Attribute = std::pair<const char*, std::string>;

  Element() = default;
  explicit Element(xmlNode* node) : node_(node) {}

  explicit operator bool() const { return node_ != nullptr; }
  xmlNode* node() const { return node_; }

  std::string name() const { return reinterpret_cast<const char*>(node_->name); }
  std::string id() const { return Get("id"); }
  // The attribute's value; empty when there is none.
  std::string Get(const char* attribute) const;
  void Set(const char* attribute, const std::string& value) const;
  void Unset(const char* attribute) const;

  // Whether it has every attribute that the other has, with the same value.
  bool HasAttributesOf(const Element& other) const;

  std::vector<Element> Children() const;
  std::vector<Element> Children(const std::string& name) const;
  // The first child of that name, or none.
  Element Child(const std::string& name) const;
  // The first child of that name, made with these attributes when there is none.
  Element ChildOrNew(const std::string& name,
                     std::initializer_list<Attribute> attributes = {}) const;
  Element Add(const std::string& name, std::initializer_list<Attribute> attributes = {}) const;
  // Adds a copy of an element, also one of another document, with all that is in it.
  void AddCopy(const Element& original) const;
  void MoveTo(const Element& parent) const;
  void Remove() const;
  void RemoveChildren() const;

  // As XML, on lines of its own when it is `pretty`.
  std::string Text(bool pretty = false) const;

 private:
  xmlNode* node_ = nullptr;
};

}  // namespace simcluster

#endif  // SIMCLUSTER_CIB_ELEMENT_H_
