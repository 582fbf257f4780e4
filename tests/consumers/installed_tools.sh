# The installed launcher and tool find the libraries beside them, and each other's board.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
on_board() { "$PREFIX/bin/ostdrv-sim" --root "$work/board" --chip atecc608a -- "$@"; }

on_board "$PREFIX/bin/ostdrv" info --json >"$work/info"
grep -q ATECC608A "$work/info"
# A command that knows nothing of the board sees it too.
on_board sh -c 'cat /mnt/settings/atecc && ! test -e /mnt/settings/trustx'
