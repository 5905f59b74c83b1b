# Sees the installed package on a whole emulated machine, whose kernel is that of its Debian: the user
# mode emulation has neither Landlock nor the filter of system calls. Sourced, never run, by
# packaging/check.
# shellcheck shell=bash
# shellcheck disable=SC2154 # of debian-root.sh

# What the machine runs beside the package.
machine_programs=(confined ditto_unchecked ditto_unsandboxed sample-engine tests_ditto tests_e2e
    tests_sandbox)

# machine_tests <release>: prints the file in which they lie, with their folders' names, as they look for
# each other where they were built.
machine_tests() {
    echo "$PWD/build/package/tests-$1-arm64.tar"
}

# machine_pack <release> <folder>: what was built there.
machine_pack() {
    local top=${PWD#/} folder=$2
    # The tests' own installation is the package's.
    ln -sfn /usr "$folder/installed"
    tar -C / -cf "$(machine_tests "$1")" "$top/demo/game" "$top/demo/addon" "$top/$folder/installed" \
        "${machine_programs[@]/#/$top/$folder/bin/}"
}

# machine_kernel <name>: prints the file of the kernel that the Debian in that root would start.
machine_kernel() {
    local root=$debian_roots/$1 package
    package=$(debian_apt "$1" arm64 install --simulate --no-install-recommends linux-image-cloud-arm64 |
        sed -n 's/^Inst \(linux-image-[0-9][^ ]*\) .*/\1/p')
    mkdir "$root.kernel"
    (cd "$root.kernel" && debian_apt "$1" arm64 download "$package") >>"$root.log" 2>&1 ||
        fail "there is no kernel for arm64"
    dpkg-deb -x "$root.kernel/$package"_*.deb "$root.kernel"
    echo "$root.kernel"/boot/vmlinuz-*
}

# machine_fill <name> <release> <deb>: the package again, and what its tests need: unpacked, not set up.
machine_fill() {
    local root=$debian_roots/$1 own=$debian_roots/$1.own
    debian_unpack "$1" arm64 iproute2 openbox strace x11-utils xclip xdotool xvfb libqt6test6 '^libzip[0-9t]+$'
    dpkg --root="$root" --force-architecture --force-depends --unpack "$3" >>"$root.log" 2>&1
    mkdir -p "$own"
    tar -C "$own" -xf "$(machine_tests "$2")"
    find "$own" -name tests_sandbox -printf '/%P\n' | xargs dirname >"$own/programs"
    install packaging/machine-init "$own/init"
}

# see_on_machine <name> <release> <deb>: all of it is in the memory of the machine; it needs no disk.
see_on_machine() {
    local root=$debian_roots/$1 kernel status=0
    kernel=$(machine_kernel "$1")
    machine_fill "$@"
    (cd "$root" && find . -xdev \( -path ./var/cache/apt -o -path ./var/lib/apt -o -path ./usr/share/doc \) \
        -prune -o -print0 | cpio --quiet --null -o -H newc) >"$root.memory"
    (cd "$root.own" && find . -print0 | cpio --quiet --null -o -H newc) >>"$root.memory"
    timeout 1800 qemu-system-aarch64 -machine virt -cpu cortex-a72 -smp 2 -m 4096 -nic none -nographic \
        -no-reboot -kernel "$kernel" -initrd "$root.memory" -append 'console=ttyAMA0 panic=-1 quiet' \
        </dev/null >"$root.out" 2>&1 || status=$?
    if [ "$status" -ne 0 ] || ! tr -d '\r' <"$root.out" | grep -qx 'machine: all is well'; then
        cat "$root.out"
        fail "the machine found faults"
    fi
    tr -d '\r' <"$root.out" | sed -n "s/^machine: /package: $1: /p"
}
