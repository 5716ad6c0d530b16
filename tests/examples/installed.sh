#!/bin/bash
# Installs a build into a clean prefix, builds the examples against it by CMake and by pkg-config,
# and runs them on the installed simulated cluster. installed.sh BUILD-DIRECTORY EXAMPLES-DIRECTORY
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$1" --prefix "$work/prefix" >/dev/null
cp -r "$2" "$work/source"
cd "$work"

cmake -S source -B by_cmake -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_BUILD_TYPE=Release >log ||
  { cat log; exit 1; }
cmake --build by_cmake >log || { cat log; exit 1; }

PKG_CONFIG_PATH=$(dirname "$(find prefix -name tavohacore.pc)")
export PKG_CONFIG_PATH
flags="-Wall -Wextra -Werror $(pkg-config --cflags --libs tavohacore)"
flags+=" -Wl,-rpath,$(pkg-config --variable libdir tavohacore)"
mkdir prefix/by_pkg_config
# shellcheck disable=SC2086
for standard in c11 c17; do cc -std=$standard source/this_node.c -o prefix/by_pkg_config/this_node $flags; done
# shellcheck disable=SC2086
for standard in c++17 c++20; do c++ -std=$standard source/both_nodes.cc -o prefix/by_pkg_config/both_nodes $flags; done

# Outside of any cluster: the loader finds the libraries, and the answer is no.
[ "$(by_cmake/this_node || echo $?)" = $'HA does not run\n2' ]

# On the nodes only the installed tree is to be seen.
mv by_cmake prefix/
for way in by_cmake by_pkg_config; do
  prefix/bin/simcluster try -- "$work/prefix/$way/both_nodes" >both
  diff - both <<'END'
nas-a is online (host0)
nas-b is online (host1)
nas-a is online (host0)
nas-b is online (host1)
END
  ! prefix/bin/simcluster try -- "$work/prefix/$way/this_node" >this
  diff - this <<'END'
nas: this node is active
ovs_eth0  192.0.2.100/255.255.255.0
nas: this node is passive
ovs_eth0  192.0.2.100/255.255.255.0
END
done
