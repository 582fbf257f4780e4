# The README's tasks run as they stand, one after the other.
set -eu
source=$1 tools=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
PATH=$tools/ostdrv:$tools/ostdrv-sim:$PATH
cd "$work"
awk '/^## Tasks/ { tasks = 1 } /^## Build/ { tasks = 0 }
     tasks && /^```sh$/ { on = 1; next } /^```$/ { on = 0 } on' "$source/README.md" >tasks.sh
[ "$(grep -c . tasks.sh)" -gt 20 ]
sh -eu tasks.sh
[ "$(cat edge)" = 3=1 ]
