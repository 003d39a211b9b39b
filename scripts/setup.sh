# shellcheck shell=bash
# Functions for the scripts beside it; sourced, not run.

# need_packages PKG...: installs those of the Debian packages that are missing. Says nothing if none
# is. What apt prints is shown only if it fails; its errors and warnings always are.
need_packages() {
    local missing=() package
    for package in "$@"; do
        # One line for each architecture that the package is installed for.
        if ! dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed; then
            missing+=("$package")
        fi
    done
    if [[ ${#missing[@]} -eq 0 ]]; then
        return
    fi
    echo "installing ${missing[*]}"
    quietly as_root apt-get update ||
        echo "going on with the package lists that are there" >&2
    quietly as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}"
}

# need_foreign ARCH PKG...: the same for packages of another architecture, which dpkg is told of.
need_foreign() {
    local architecture=$1
    shift
    if ! dpkg --print-foreign-architectures | grep -qx "$architecture"; then
        as_root dpkg --add-architecture "$architecture"
    fi
    need_packages "${@/%/:$architecture}"
}

# as_root COMMAND...: runs it as root, through sudo where the caller is not.
as_root() {
    if [[ $EUID -eq 0 ]]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "to be run as root, or with sudo installed: $*" >&2
        return 1
    fi
}

# quietly COMMAND...: runs it and shows what it printed on standard output only if it fails.
quietly() {
    local log status=0
    log=$(mktemp)
    "$@" >"$log" || status=$?
    if [[ $status -ne 0 ]]; then
        cat "$log" >&2
        echo "failed: $*" >&2
    fi
    rm -f "$log"
    return "$status"
}
