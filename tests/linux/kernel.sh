# shellcheck shell=bash
# Debian's ordinary kernel, for virtual machines. Sourced after scripts/lib.sh.

# kernel_package: the name of its package, when apt has its lists.
kernel_package() {
    apt-cache depends linux-image-amd64 2>/dev/null |
        sed -n 's/.*Depends: \(linux-image-6[^ ]*\)$/\1/p'
}

# unpack_kernel PACKAGE FOLDER: into a new folder; nothing is installed.
unpack_kernel() {
    say "Unpacking $1"
    rm -rf "$2" "$2.unpacking"
    mkdir -p "$2.unpacking"
    (
        cd "$2.unpacking" || exit
        apt-get -q -o APT::Sandbox::User=root download "$1" >&2
        dpkg -x "$1"_*.deb .
        rm "$1"_*.deb
    )
    depmod -b "$2.unpacking" "$(basename "$2.unpacking"/lib/modules/*)"
    mv "$2.unpacking" "$2"
}

# copy_drivers KERNEL FOLDER DRIVER...: these and what they need, and their names
# in the order of loading in the file "order".
copy_drivers() {
    local kernel=$1 folder=$2 driver module
    shift 2
    mkdir -p "$folder"
    for driver in "$@"; do
        modprobe -d "$kernel" -S "$(basename "$kernel"/lib/modules/*)" --show-depends "$driver"
    done | sed -n 's/^insmod \([^ ]*\).*/\1/p' | awk '!seen[$1]++' | while read -r module; do
        cp "$module" "$folder"
        basename "$module"
    done >"$folder/order"
}
