# Debian packages, one for each component: "cpack" in the package preset's build directory, or
# "make package".
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavohacore)
set(CPACK_PACKAGE_VENDOR "tavohacore")
set(CPACK_PACKAGE_CONTACT "The tavohacore developers <developers@tavohacore.invalid>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

# debian_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION [FIELD VALUE]...)
set(CPACK_COMPONENTS_ALL)
macro(debian_package component name section summary description)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${description}")
  set(fields ${ARGN})
  while(fields)
    list(POP_FRONT fields field value)
    set(CPACK_DEBIAN_${key}_PACKAGE_${field} "${value}")
  endwhile()
endmacro()

set(runtime libtavohacore${PROJECT_VERSION_MAJOR})
set(stand_in libtavocore${PROJECT_VERSION_MAJOR})
set(this_version "(= ${PROJECT_VERSION})")
set(this_or_later "(>= ${PROJECT_VERSION})")

# What a package that is built against the library has to depend on.
file(STRINGS ${PROJECT_SOURCE_DIR}/src/tavohacore.symbols symbols REGEX "^[^#]")
list(TRANSFORM symbols REPLACE "(.+)" " \\1@Base ${PROJECT_VERSION}\n")
string(JOIN "" symbols ${symbols})
set(control ${PROJECT_BINARY_DIR}/debian)
file(WRITE ${control}/symbols
  "libtavohacore.so.${PROJECT_VERSION_MAJOR} ${runtime} #MINVER#\n${symbols}")

# Only recommended where it is needed: an appliance has the real platform library instead.
debian_package(runtime ${runtime} libs
  "high-availability core library for two storage appliances"
  "Tells and changes the state, the roles and the configuration of a cluster of
two nodes by way of the cluster manager's tools. Needs the platform core
library, libtavocore.so.${PROJECT_VERSION_MAJOR}."
  RECOMMENDS ${stand_in}
  CONTROL_EXTRA ${control}/symbols)
debian_package(platform ${stand_in} libs
  "stand-in for the platform core library of storage appliances"
  "Does what the platform core library does, as far as ${runtime} uses
it. Not for appliances: they have the real one.")
debian_package(development libtavohacore-dev libdevel
  "high-availability core library for two storage appliances (development)"
  "Headers, manual pages, a CMake package and a pkg-config file for programs in
C and C++."
  DEPENDS "${runtime} ${this_version}")
debian_package(tavohactl tavohactl admin
  "operator's program for a high-availability cluster of two nodes"
  "Shows how both nodes stand, watches them, moves the service between them, and
reads and changes the cluster's configuration."
  DEPENDS "${runtime} ${this_or_later}")
debian_package(simcluster tavoha-simcluster devel
  "simulated cluster of two storage appliances"
  "Two nodes on one machine, each with a file system, a host name and a network
of its own, to try programs on that use ${runtime}. Needs no right
beyond namespaces, and leaves nothing behind."
  DEPENDS "${runtime} ${this_or_later}, tavohactl"
  RECOMMENDS ${stand_in})
include(CPack)
