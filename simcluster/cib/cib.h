// The cluster information base: what is configured and how it stands, as one XML document of the
// shape that the resource manager gives it:
//
//   <cib admin_epoch= epoch= num_updates=>
//     <configuration>
//       <crm_config/> <nodes/> <resources/> <constraints/> <rsc_defaults/>
//     </configuration>
//     <status/>
//   </cib>
//
// Nodes and their states have the host name as id. In <status>, a <node_state> holds what the node
// was seen to do: its resources with their roles, and the fail-counts of its operations.
#ifndef SIMCLUSTER_CIB_CIB_H_
#define SIMCLUSTER_CIB_CIB_H_

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <vector>

#include "simcluster/cib/element.h"

namespace simcluster {

// An XML document as a scope. Its operations throw std::runtime_error where the text or the XPath
// is none.
class Document {
 public:
  explicit Document(const std::string& text);

  Element root() const { return Element(xmlDocGetRootElement(document_.get())); }
  // The elements that an XPath selects.
  std::vector<Element> Find(const std::string& xpath) const;

 private:
  struct Free {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  };
  std::unique_ptr<xmlDoc, Free> document_;
};

class Cib : public Document {
 public:
  // One in which nothing is configured and no node is known.
  Cib();
  explicit Cib(const std::string& text) : Document(text) {}

  Element configuration() const { return root().ChildOrNew("configuration"); }
  // A section of the configuration.
  Element section(const std::string& name) const { return configuration().ChildOrNew(name); }
  Element status() const { return root().ChildOrNew("status"); }

  // The node's element in <nodes>, or its state in <status>; none when the base has none.
  Element Node(const std::string& host) const;
  Element NodeState(const std::string& host) const;
  std::vector<std::string> NodeNames() const;
  void AddNode(const std::string& host) const;

  // What has this id in the configuration, or none.
  Element Configured(const std::string& id) const;

  bool IsStandby(const std::string& host) const;
  void SetStandby(const std::string& host, bool standby) const;

  // How often operations of the primitive failed on the node.
  int FailCount(const std::string& host, const std::string& primitive) const;
  void AddFailure(const std::string& host, const std::string& primitive) const;
  void ClearFailures(const std::string& host) const;

  // The name=value pair in one of an element's attribute sets ("meta_attributes" and the like),
  // which has the id "OWNER-SET-NAME"; empty or none when it is not set.
  static std::string Pair(const Element& owner, const std::string& set, const std::string& name);
  static void SetPair(const Element& owner, const std::string& set, const std::string& name,
                      const std::string& value);
  // The same in a set that is known, with ids "SET-NAME".
  static void SetPairIn(const Element& set, const std::string& name, const std::string& value);
  // Returns whether there was one.
  static bool RemovePair(const Element& owner, const std::string& set, const std::string& name);
};

}  // namespace simcluster

#endif  // SIMCLUSTER_CIB_CIB_H_
