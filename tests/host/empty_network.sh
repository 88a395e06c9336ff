# Sourced: empty_network COMMAND... runs a command in a network namespace without interfaces. Only who is
# not root needs a user namespace for that, which is not to be had everywhere: in a chroot, for one.
empty_network() {
    if [ "$(id -u)" -eq 0 ]; then
        unshare --net "$@"
    else
        unshare --user --map-root-user --net "$@"
    fi
}
