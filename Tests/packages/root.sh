# SPDX-FileCopyrightText: hbTools developers
# SPDX-License-Identifier: MIT
#
# A fresh Debian 12 in a folder of its own, and checks of what commands do in there. Sourced behind scripts/common.sh.
[ "$(id -u)" -eq 0 ] || die "needs root, for chroot"
need packages

mirror=${HBTOOLS_MIRROR:-$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' | sed -n 's/ bookworm$//p' | head -n 1)}
[ -n "$mirror" ] || die "no mirror of Debian 12 is known; set HBTOOLS_MIRROR"
top=$(mktemp -d "${TMPDIR:-/tmp}/hbtools-packages-XXXXXX")
trap 'rm -rf --one-file-system "$top"' EXIT
trap 'exit 130' INT TERM
root=$top/root
log=$top/log

# inside COMMANDS: runs them in the root. What is mounted for them and what they start ends with them.
inside() {
    unshare --mount --pid --fork --kill-child bash -c '
        mount --make-rprivate /
        mount -t proc proc "$0/proc"
        mount --bind /dev "$0/dev"
        exec chroot "$0" env -i HOME=/root LC_ALL=C.UTF-8 TERM=dumb PYTHONDONTWRITEBYTECODE=1 DEBIAN_FRONTEND=noninteractive \
            PATH=/usr/sbin:/usr/bin:/sbin:/bin bash -euc "cd /root; $1"' "$root" "$1" </dev/null
}

# check WHAT COMMANDS [PATTERN]: they succeed, and print what fits the pattern.
check() {
    local code=0
    inside "$2" >"$log" 2>&1 || code=$?
    if [ $code -eq 0 ] && { [ -z "${3:-}" ] || grep -qE -- "$3" "$log"; }; then
        passed=$((passed + 1))
        say "ok      $1"
    else
        failed=$((failed + 1))
        say "FAILED  $1 (exit code $code${3:+, wanted: $3}); it said:"
        cat "$log" >&2
    fi
}

# make_root: with an index of apt, and what apt needs to work there.
make_root() {
    say "making a root"
    debootstrap --variant=minbase bookworm "$root" "$mirror" >"$log" 2>&1 || { cat "$log" >&2; die "no root could be made"; }
    cp /etc/resolv.conf "$root/etc/"
    inside 'apt-get update -q' >"$log" 2>&1 || { cat "$log" >&2; die "apt has no index"; }
}

install='apt-get install -q -y --no-install-recommends'
