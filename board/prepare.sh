# What a board boots from, all in build/board: the packages of Debian, fetched once, and the programs built here.

built=$source/build/board

guest_packages() {
    apt-cache depends linux-image-arm64:arm64 2> /dev/null | sed -n 's/.*Depends: //p'
    printf '%s:arm64\n' busybox-static dash bash libtinfo6 openssl i2c-tools libi2c0 libc6 libgcc-s1 libstdc++6 libssl3 zlib1g \
        procps libproc2-0 libsystemd0 libcap2 libgcrypt20 liblzma5 libzstd1 liblz4-1 libgpg-error0
}

# Everything fetched and unpacked, or nothing.
prepare_guest() {
    [[ ! -f $built/guest.cpio || $source/board/prepare.sh -nt $built/guest.cpio ||
        $source/board/modules -nt $built/guest.cpio ]] || return 0
    local fresh=$built/fresh package modules
    mapfile -t modules < "$source/board/modules"
    local drivers=("${modules[@]/#/*/}")
    rm -rf "$fresh" && mkdir -p "$fresh/packages" "$fresh/root/lib/board" "$fresh/kernel" "$built/packages" || exit 125
    mapfile -t packages < <(guest_packages)
    [[ ${packages[0]} == linux-image-* ]] || fail 'apt-get does not know the arm64 kernel; run apt-get update, with network' 77
    if [[ $(ls "$built/packages" 2> /dev/null | wc -l) != "${#packages[@]}" ]]; then
        echo 'board.sh: fetching the board'\''s Debian packages, once (65 MB)' >&2
        (cd "$fresh/packages" && apt-get -q -o APT::Sandbox::User="$(id -un)" download "${packages[@]}") > "$log" 2>&1 ||
            fail "cannot fetch the packages: $(grep -E '^E:' "$log" | head -n 1); is there network, and apt-get update recent?" 77
        rm -rf "$built/packages" && mv "$fresh/packages" "$built/packages" || exit 125
    fi
    for package in "$built"/packages/*.deb; do
        case $package in
            */linux-image-*)
                dpkg-deb --fsys-tarfile "$package" | tar -xC "$fresh/kernel" --wildcards './boot/vmlinuz-*' \
                    "${drivers[@]/%/.ko}" || fail "cannot unpack $package"
                ;;
            *)
                dpkg-deb --fsys-tarfile "$package" |
                    tar -xC "$fresh/root" --exclude='./usr/share' --exclude='*/gconv' --exclude='*/systemd' ||
                    fail "cannot unpack $package"
                ;;
        esac
    done
    for package in "${modules[@]}"; do
        find "$fresh/kernel/lib" -name "$package.ko" -exec mv -t "$fresh/root/lib/board" {} + || exit 125
        [[ -f $fresh/root/lib/board/$package.ko ]] || fail "the kernel has no driver called $package"
    done
    cp "$source/board/modules" "$fresh/root/lib/board/"
    mv "$fresh"/kernel/boot/vmlinuz-* "$built/vmlinuz" && pack "$fresh/root" "$fresh/guest.cpio" &&
        mv "$fresh/guest.cpio" "$built/guest.cpio" || fail "cannot pack the board's files"
    rm -rf "$fresh"
}

# The kernel takes archives one behind the other.
pack() { (cd "$1" && find . -mindepth 1 | cpio --quiet -o -H newc -R 0:0) > "$2"; }

# Boards that are started at once wait for each other here.
prepare() {
    local building
    log=$built/build.log
    mkdir -p "$built" && exec {building}> "$built/lock" && flock "$building" || exit 125
    prepare_programs
    prepare_guest
    cat "$built/guest.cpio" "$built/ours.cpio" > "$built/initrd.new" && mv "$built/initrd.new" "$built/initrd" || exit 125
    exec {building}>&-
}

prepare_programs() {
    "$source/tools/install-packages.sh" demo aarch64 board || fail 'packages are missing'
    host_programs ostdrv-sim board_outside && arm_programs || {
        tail -n 30 "$log" >&2
        fail "the build failed; all of it is in $log"
    }
}

# What is built for the board: for applications in sdk/, and what the board itself has.
arm_programs() {
    local arm=$source/build/aarch64 ours=$built/ours sdk=$built/sdk program component
    [[ -f $arm/build.ninja ]] || (cd "$source" && cmake --preset aarch64) > "$log" 2>&1 || return
    cmake --build "$arm" --target ostdrv ostdrv_tool ostdrv-sim sim/all board_bridge board_checks board_observe \
        example_edge_wait_16 example_factory_line example_shell_commands > "$log" 2>&1 || return
    rm -rf "$ours" "$sdk"
    for component in runtime simulator development; do
        cmake --install "$arm" --prefix "$sdk" --component $component --strip > "$log" 2>&1 || return
    done
    mkdir -p "$ours/usr/bin" && cp -a "$sdk/lib" "$ours/usr/" || return
    for program in tools/ostdrv/ostdrv board/board_{bridge,checks,observe} \
        examples/{edge_wait_16,factory_line,shell_commands}; do
        aarch64-linux-gnu-strip -o "$ours/usr/bin/${program##*/}" "$arm/$program" 2> "$log" || return
    done
    cp "$source/board/init" "$ours/init" && pack "$ours" "$built/ours.cpio"
}
