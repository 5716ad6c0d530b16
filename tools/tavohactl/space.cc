// tavohactl space: the markers of storage coordination.
#include <fmt/format.h>
#include <tavohacore.h>

#include <string>

#include "command.h"
#include "words.h"

namespace tavohactl {
namespace {

struct FakeRole {
  const char* name;
  FAKE_DRBD_ROLE role;
};
constexpr FakeRole kFakeRoles[] = {
    {"none", FAKE_DRBD_ROLE_NONE},
    {"primary", FAKE_DRBD_ROLE_PRIMARY},
    {"secondary", FAKE_DRBD_ROLE_SECONDARY},
};

Answer SpaceExpanding(const CLI::App& arguments) {
  const std::string space = Text(arguments, "SPACE");
  if (HASpaceExpandResizePre(space.c_str()) != 0) {
    throw LibraryFailure("the marker could not be written");
  }
  return {.record = {{"expanding", space}}, .text = space + " is marked as being expanded"};
}

Answer SpaceFakeRole(const CLI::App& arguments) {
  if (arguments.count("ROLE") > 0) {
    const FAKE_DRBD_ROLE role = Choose(kFakeRoles, Text(arguments, "ROLE"), "role").role;
    if (role == FAKE_DRBD_ROLE_NONE) {
      HANoSpaceFakeDRBDRoleClear();
    } else {
      HANoSpaceFakeDRBDRoleSet(role);
    }
    if (HANoSpaceFakeDRBDRoleGet() != role) throw LibraryFailure("the role could not be set");
  }
  const char* role = kFakeRoles[HANoSpaceFakeDRBDRoleGet()].name;
  return {.record = {{"fake_role", role}}, .text = role};
}

}  // namespace

void AddSpace(CommandTree* tree) {
  CLI::App* group = tree->AddGroup("space", "The markers by which storage programs coordinate",
                                   "  tavohactl space expanding /volume1\n"
                                   "  tavohactl space fake-role\n"
                                   "  tavohactl space fake-role primary\n");
  tree->AddCommand(group, "expanding", "Mark a space as about to be expanded", SpaceExpanding)
      ->add_option("SPACE", "What names it")
      ->required();
  tree->AddCommand(group, "fake-role", "Print or set the DRBD role without a replicated space",
                   SpaceFakeRole)
      ->add_option("ROLE", "primary, secondary or none");
}

}  // namespace tavohactl
