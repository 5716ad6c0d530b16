#include "simcluster/cib/configuration_script.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace simcluster {
namespace {

using Words = std::vector<std::string>;

[[noreturn]] void Reject(const std::string& why) { throw std::runtime_error(why); }

// Cuts a line at its blanks. Quotes keep blanks together and are no part of the word.
Words Split(const std::string& line) {
  Words words;
  std::string word;
  bool quoted = false, begun = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      begun = true;
    } else if ((c == ' ' || c == '\t') && !quoted) {
      if (begun) words.push_back(std::exchange(word, {}));
      begun = false;
    } else {
      word += c;
      begun = true;
    }
  }
  if (quoted) Reject("quote without an end");
  if (begun) words.push_back(word);
  return words;
}

// The words of a statement, read from left to right.
class Statement {
 public:
  explicit Statement(Words words) : words_(std::move(words)) {}

  bool AtEnd() const { return next_ == words_.size(); }
  bool AtPair() const { return !AtEnd() && words_[next_].find('=') != std::string::npos; }

  std::string Next(const std::string& what) {
    if (AtEnd()) Reject(what + " is missing");
    return words_[next_++];
  }

  std::pair<std::string, std::string> NextPair() {
    const std::string word = Next("NAME=VALUE");
    const size_t equals = word.find('=');
    if (equals == 0 || equals == std::string::npos) Reject("no NAME=VALUE: " + word);
    return {word.substr(0, equals), word.substr(equals + 1)};
  }

  // Takes the word, should it be the next one.
  bool Take(const std::string& word) {
    if (AtEnd() || words_[next_] != word) return false;
    ++next_;
    return true;
  }

  void End() const {
    if (!AtEnd()) Reject("not understood: " + words_[next_]);
  }

 private:
  Words words_;
  size_t next_ = 0;
};

// The next word, as the id of something new.
std::string NewId(Statement* statement, const Cib& cib) {
  std::string id = statement->Next("ID");
  if (cib.Configured(id)) Reject("id " + id + " is in use");
  return id;
}

void SetPairs(Statement* statement, const Element& owner, const std::string& set) {
  do {
    const auto [name, value] = statement->NextPair();
    Cib::SetPair(owner, set, name, value);
  } while (statement->AtPair());
}

// A list of cluster-wide settings, which stands in its section under a fixed id.
void SetGlobals(Statement* statement, const Element& section, const std::string& element,
                const std::string& id) {
  const Element list = section.ChildOrNew(element, {{"id", id}});
  do {
    const auto [name, value] = statement->NextPair();
    Cib::SetPairIn(list, name, value);
  } while (!statement->AtEnd());
}

void Property(Statement* statement, const Cib& cib) {
  SetGlobals(statement, cib.section("crm_config"), "cluster_property_set", "cib-bootstrap-options");
}

void ResourceDefaults(Statement* statement, const Cib& cib) {
  SetGlobals(statement, cib.section("rsc_defaults"), "meta_attributes", "rsc-options");
}

void AddOperation(Statement* statement, const Element& primitive) {
  const Element op = primitive.ChildOrNew("operations").Add("op");
  op.Set("name", statement->Next("operation"));
  op.Set("interval", "0");
  while (statement->AtPair()) {
    const auto [name, value] = statement->NextPair();
    op.Set(name.c_str(), value);
  }
  const std::string id = primitive.id() + "-" + op.Get("name") + "-" + op.Get("interval");
  const auto others = primitive.Child("operations").Children("op");
  if (std::ranges::any_of(others, [&](const Element& other) { return other.id() == id; })) {
    Reject("operation " + id + " twice");
  }
  op.Set("id", id);
}

void Primitive(Statement* statement, const Cib& cib) {
  const std::string id = NewId(statement, cib), agent = statement->Next("agent");
  const size_t first = agent.find(':'), second = agent.find(':', first + 1);
  if (second == std::string::npos) Reject("no CLASS:PROVIDER:TYPE: " + agent);
  const Element primitive =
      cib.section("resources")
          .Add("primitive", {{"id", id},
                             {"class", agent.substr(0, first)},
                             {"provider", agent.substr(first + 1, second - first - 1)},
                             {"type", agent.substr(second + 1)}});
  while (!statement->AtEnd()) {
    if (statement->Take("params")) {
      SetPairs(statement, primitive, "instance_attributes");
    } else if (statement->Take("meta")) {
      SetPairs(statement, primitive, "meta_attributes");
    } else if (statement->Take("op")) {
      AddOperation(statement, primitive);
    } else {
      statement->End();
    }
  }
}

// A set takes its primitive from the list of resources into itself.
void AddSet(Statement* statement, const Cib& cib, const std::string& element) {
  const std::string id = NewId(statement, cib), child = statement->Next("resource");
  const auto primitives = cib.section("resources").Children("primitive");
  const auto primitive = std::ranges::find(primitives, child, &Element::id);
  if (primitive == primitives.end()) Reject("no primitive " + child);
  const Element set = cib.section("resources").Add(element, {{"id", id}});
  if (statement->Take("meta")) SetPairs(statement, set, "meta_attributes");
  primitive->MoveTo(set);
}

void MasterSlave(Statement* statement, const Cib& cib) { AddSet(statement, cib, "master"); }

void Clone(Statement* statement, const Cib& cib) { AddSet(statement, cib, "clone"); }

// The resources of a constraint, in sets of those that stand together and have the same qualifier
// (role or action).
void AddReferences(Statement* statement, const Cib& cib, const Element& constraint,
                   const char* attribute) {
  const std::vector<Element> resources = cib.section("resources").Children();
  Element set;
  int sets = 0;
  do {
    const std::string word = statement->Next("resource");
    const size_t colon = std::min(word.find(':'), word.size());
    const std::string id = word.substr(0, colon);
    const std::string qualifier = colon < word.size() ? word.substr(colon + 1) : "";
    if (std::ranges::find(resources, id, &Element::id) == resources.end()) {
      Reject("no resource " + id);
    }
    if (!set || set.Get(attribute) != qualifier) {
      set =
          constraint.Add("resource_set", {{"id", constraint.id() + "-" + std::to_string(sets++)}});
      if (!qualifier.empty()) set.Set(attribute, qualifier);
    }
    set.Add("resource_ref", {{"id", id}});
  } while (!statement->AtEnd());
}

// A word that ends in a colon, without it.
std::string NextLabel(Statement* statement, const std::string& what) {
  std::string word = statement->Next(what);
  if (!word.ends_with(':')) Reject("no colon after " + word);
  word.pop_back();
  return word;
}

void Colocation(Statement* statement, const Cib& cib) {
  const std::string id = NewId(statement, cib), score = NextLabel(statement, "score");
  AddReferences(statement, cib,
                cib.section("constraints").Add("rsc_colocation", {{"id", id}, {"score", score}}),
                "role");
}

void Order(Statement* statement, const Cib& cib) {
  const std::string id = NewId(statement, cib);
  std::string kind = NextLabel(statement, "kind");
  if (kind != "mandatory") Reject("order of unknown kind: " + kind);
  AddReferences(statement, cib,
                cib.section("constraints").Add("rsc_order", {{"id", id}, {"kind", "Mandatory"}}),
                "action");
}

struct StatementKind {
  const char* word;
  void (*run)(Statement* statement, const Cib& cib);
};
constexpr StatementKind kStatements[] = {
    {"property", Property},   {"rsc_defaults", ResourceDefaults},
    {"primitive", Primitive}, {"ms", MasterSlave},
    {"clone", Clone},         {"colocation", Colocation},
    {"order", Order},
};

// A script as it is read. What it changes counts when it was committed.
class Script {
 public:
  explicit Script(const Cib& cib) : cib_(cib) {}

  void Run(Statement statement) {
    const std::string word = statement.Next("statement");
    if (level_ == Level::kEnd) Reject("after the end");
    if (word == "configure" && level_ == Level::kShell) {
      level_ = Level::kConfigure;
    } else if (word == "exit") {
      level_ = Level::kEnd;
    } else if (word == "commit" && level_ == Level::kConfigure) {
      committed_ = true;
    } else {
      const auto* kind = std::ranges::find(kStatements, word, &StatementKind::word);
      if (kind == std::end(kStatements) || level_ == Level::kShell) {
        Reject("not understood: " + word);
      }
      kind->run(&statement, cib_);
      committed_ = false;
    }
    statement.End();
  }

  bool committed() const { return committed_; }

 private:
  enum class Level { kShell, kConfigure, kEnd };

  const Cib& cib_;
  Level level_ = Level::kShell;
  bool committed_ = true;
};

}  // namespace

void RunConfigurationScript(const std::string& text, const Cib& cib) {
  std::istringstream lines(text);
  std::string line;
  Script script(cib);
  for (int number = 1; std::getline(lines, line); ++number) {
    try {
      Words words = Split(line);
      if (!words.empty()) script.Run(Statement(std::move(words)));
    } catch (const std::runtime_error& error) {
      Reject("line " + std::to_string(number) + ": " + error.what());
    }
  }
  if (!script.committed()) Reject("changes were not committed");
}

}  // namespace simcluster
