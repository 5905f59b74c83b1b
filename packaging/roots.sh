# Makes fresh Debian systems in folders below $roots. Scripts source this file in the project's folder,
# after script/common.sh. Needs root.
#
# Packages come from this system's mirror. $bases keeps the base system of each release.
# shellcheck shell=bash

roots=$PWD/build/package/roots
bases=$PWD/build/package/bases

# Prints script/package's name for this system.
system_here() {
    local release
    # shellcheck source=/dev/null # a file of the system
    release=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
    case $(dpkg --print-architecture) in
    amd64) echo "$release" ;;
    *) echo "$release-$(dpkg --print-architecture)" ;;
    esac
}

# sources <release>: prints this system's sources.list, changed to that release.
sources() {
    # shellcheck disable=SC2016 # placeholders of apt-get
    apt-get indextargets --format 'deb $(SITE) $(RELEASE) main' 'Origin: Debian' | sort -u |
        sed -E "s/^(deb [^ ]+ )[a-z]+/\1$1/"
}

# emulate <machine>: lets this kernel run another architecture's programs, also inside roots.
emulate() {
    local formats=/proc/sys/fs/binfmt_misc
    [ "$1" != "$(dpkg --print-architecture)" ] || return 0
    [ -e "$formats/register" ] || mount -t binfmt_misc binfmt_misc "$formats" ||
        fail "can't run programs for $1: this kernel has no binfmt_misc"
    [ -e "$formats/qemu-aarch64" ] || cat /usr/lib/binfmt.d/qemu-aarch64.conf >"$formats/register"
}

# make_root <name> <release> [<machine>]: makes a fresh system in $roots/<name>
make_root() {
    local root=$roots/$1 release=$2 machine=${3:-$(dpkg --print-architecture)} base
    base=$bases/debian-$release-$machine.tar
    emulate "$machine"
    rm -rf "$root"
    mkdir -p "$root" "$bases"
    if ! [ -f "$base" ]; then
        echo "package: fetching the base system of Debian $release for $machine"
        quietly "$root.log" debootstrap --variant=minbase --arch="$machine" "$release" "$root" \
            "$(sources "$release" | awk -v release="$release" '$3 == release { print $2; exit }')"
        tar -C "$root" -cf "$base.part" .
        mv "$base.part" "$base"
    else
        tar -C "$root" -xf "$base"
    fi
    rm -rf "$root"/etc/apt/apt.conf.d "$root"/etc/apt/sources.list*
    cp -r /etc/apt/apt.conf.d "$root/etc/apt/"
    cp /etc/resolv.conf /etc/hosts "$root/etc/"
    sources "$release" >"$root/etc/apt/sources.list"
    install -d -o 65534 -g 65534 -m 700 "$root/home/player"
}

# install_in <name> <package…>: installs packages in that system
install_in() {
    # shellcheck disable=SC2016 # expanded by the inner shell
    quietly "$roots/$1.log" packaging/in-root "$roots/$1" sh -ec 'export DEBIAN_FRONTEND=noninteractive
        apt-get -q update
        apt-get -q -y -o Dpkg::Options::=--force-confold -o Dpkg::Options::=--force-unsafe-io install --no-install-recommends "$@"' sh "${@:2}"
}
