# Fresh Debian systems in folders, to build and to look at packages in. Sourced, never run, by
# scripts that have a function `fail` and stand in the project's folder. Needs root.
#
# Packages come from where this system has its own. Each release's base system is kept in $debian_bases
# for the next time.
# shellcheck shell=bash

debian_roots=$PWD/build/package/roots
debian_bases=$PWD/build/package/bases

# The release of this system, empty where it is none that packages are made for.
debian_here() {
    local release
    # shellcheck source=/dev/null # the system's own
    release=$(. /etc/os-release && echo "${ID:-} ${VERSION_CODENAME:-}")
    case $release in
    'debian bookworm' | 'debian trixie') echo "${release#debian }" ;;
    esac
}

# debian_number <release>
debian_number() {
    case $1 in
    bookworm) echo 12 ;;
    trixie) echo 13 ;;
    *) fail "no Debian that packages are made for: \"$1\"" ;;
    esac
}

# debian_mounts <root>: prints what is mounted in it, the deepest first.
debian_mounts() {
    local target
    while read -r _ target _; do
        target=$(printf '%b' "$target") # A space is written as "\040" there.
        [ "${target#"$1"/}" = "$target" ] || printf '%s\n' "$target"
    done </proc/mounts | sort -r
}

# debian_remove <name>: removes a root, and never what is mounted in it.
debian_remove() {
    local root=$debian_roots/$1 mounted
    while read -r mounted; do
        umount -l "$mounted" || true # Ignored: seen below.
    done < <(debian_mounts "$root")
    [ -z "$(debian_mounts "$root")" ] || fail "still mounted: $(debian_mounts "$root")"
    rm -rf --one-file-system "$root" "$root.log"
}

# For a trap: whatever is left of all of them.
debian_remove_all() {
    local root
    for root in "$debian_roots"/*/; do
        [ ! -d "$root" ] || debian_remove "$(basename "$root")"
    done
    rm -rf --one-file-system "$debian_roots"
}

# debian_site <main | security>: where this system gets its packages.
debian_site() {
    local sites
    # shellcheck disable=SC2016 # apt-get's own placeholder
    sites=$(apt-get indextargets --format '$(SITE)' 'Origin: Debian' | sort -u)
    if [ "$1" = security ]; then
        grep security <<<"$sites" | head -n 1 || true
    else
        grep -v security <<<"$sites" | head -n 1 || true
    fi
}

# debian_emulate <machine>: lets this system run another machine's programs, in roots as well.
debian_emulate() {
    local formats=/proc/sys/fs/binfmt_misc
    [ "$1" != "$(dpkg --print-architecture)" ] || return 0
    [ "$1" = arm64 ] || fail "no emulation is set up for \"$1\""
    [ -e "$formats/register" ] || mount -t binfmt_misc binfmt_misc "$formats" ||
        fail "programs for $1 cannot be run: the kernel cannot be told here how (binfmt_misc)"
    # As Debian's own start of the system does it.
    [ -e "$formats/qemu-aarch64" ] || cat /usr/lib/binfmt.d/qemu-aarch64.conf >"$formats/register"
}

# debian_base <release> <machine>: prints the file that holds the base system, made where missing.
debian_base() {
    local release=$1 machine=$2 base=$debian_bases/debian-$1-$2.tar folder mirror
    if ! [ -f "$base" ]; then
        mirror=$(debian_site main)
        [ -n "$mirror" ] || fail "this system's own packages don't come from Debian"
        echo "package: fetching the base system of Debian $(debian_number "$release") for $machine" >&2
        folder=$debian_roots/base-$release-$machine
        mkdir -p "$folder" "$debian_bases"
        debootstrap --variant=minbase --arch="$machine" "$release" "$folder" "$mirror" \
            >"$folder.log" 2>&1 || {
            tail "$folder.log" >&2
            fail "debootstrap failed"
        }
        tar -C "$folder" -cf "$base.part" .
        mv "$base.part" "$base"
        rm -rf --one-file-system "$folder"
    fi
    echo "$base"
}

# debian_root <name> <release> [<machine>]: a fresh system in $debian_roots/<name>, which finds its
# packages where this one does.
debian_root() {
    local root=$debian_roots/$1 release=$2 machine=${3:-$(dpkg --print-architecture)} base security
    debian_emulate "$machine"
    base=$(debian_base "$release" "$machine")
    mkdir -p "$root"
    tar -C "$root" -xf "$base"
    rm -rf "$root"/etc/apt/{apt,auth}.conf.d "$root"/etc/apt/sources.list*
    cp -r /etc/apt/{apt,auth}.conf.d "$root/etc/apt/" 2>/dev/null || true # Ignored: there need be none.
    echo "deb $(debian_site main) $release main" >"$root/etc/apt/sources.list"
    echo "deb $(debian_site main) $release-updates main" >>"$root/etc/apt/sources.list"
    security=$(debian_site security)
    [ -z "$security" ] || echo "deb $security $release-security main" >>"$root/etc/apt/sources.list"
    cp /etc/resolv.conf /etc/hosts "$root/etc/"
    mount --bind /proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --make-rslave "$root/dev"
}

# debian_install <name> <package…>
debian_install() {
    local root=$debian_roots/$1
    shift
    # shellcheck disable=SC2016,SC2015 # expanded by the inner shell; either failure is one
    chroot "$root" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 sh -c \
        'apt-get -q update && apt-get -q -y -o Dpkg::Options::=--force-confold \
            -o Dpkg::Options::=--force-unsafe-io install --no-install-recommends "$@"' sh "$@" \
        >"$root.log" 2>&1 || {
        tail -n 20 "$root.log" >&2
        fail "apt-get failed"
    }
}

# debian_apt <name> <machine> <argument of apt-get…>: this system's own, on another machine's root, where
# the one in there would take ten times as long.
debian_apt() {
    local root=$debian_roots/$1 machine=$2
    shift 2
    apt-get -q -y -o Dir::Etc="$root/etc/apt" -o Dir::State="$root/var/lib/apt" \
        -o Dir::State::status="$root/var/lib/dpkg/status" -o Dir::Cache="$root/var/cache/apt" \
        -o APT::Architecture="$machine" -o APT::Architectures="$machine" -o APT::Sandbox::User=root "$@"
}

# debian_unpack <name> <machine> <package…>: for another machine's root that nothing is started in: the
# files are there and dpkg knows whose they are, but nothing is set up.
debian_unpack() {
    local root=$debian_roots/$1
    rm -f "$root"/var/cache/apt/archives/*.deb
    if ! debian_apt "$1" "$2" update >"$root.log" 2>&1 ||
        ! debian_apt "$1" "$2" install --download-only --no-install-recommends "${@:3}" \
            >>"$root.log" 2>&1 ||
        ! eatmydata dpkg --root="$root" --force-architecture --force-depends --force-unsafe-io --unpack \
            "$root"/var/cache/apt/archives/*.deb >>"$root.log" 2>&1; then
        tail -n 20 "$root.log" >&2
        fail "the packages cannot be unpacked"
    fi
}
