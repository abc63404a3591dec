#!/usr/bin/env bash
# The main job: set up everything from nothing, build, and run the reference host.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
zr_install_packages
zr_build "$ZR_ROOT/build"
exec "$ZR_ROOT/build/tools/zrhost/zrhost" "$@"
