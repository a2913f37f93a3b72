# Sourced by test_packages.sh: a fresh Debian 12 in a directory of its own, entered as a chroot or booted. Needs root.
# What is started in it runs in namespaces of its own, so that nothing of it outlives remove_root.

# What the packages depend on, and curl for those who try the gateway.
root_packages=systemd,libstdc++6,libssl3,libsqlite3-0,libsodium23,libtomlplusplus3,libnats3.4,curl,ca-certificates

root=         # the directory
booted_pid=   # unshare, above the booted root's first process; empty: not booted
service_pid=  # the booted root's first process

make_fresh_root() {
    root=$(mktemp -d)
    chmod 755 "$root" # inside it is "/", for all users
    debootstrap --variant=minbase --include="$root_packages" bookworm "$root" >"$root.log" 2>&1 && return 0
    tail -n 5 "$root.log" >&2
    return 1
}

remove_root() {
    stop_root
    [ -n "$root" ] && rm -rf --one-file-system "$root" "$root.log" "$root.boot.log"
    root=
}

# Runs a command in the root, with /proc of its own.
in_root() {
    unshare --mount --pid --fork --kill-child sh -c '
        mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$root" "$@"
}

# In new namespaces: the surroundings that a service manager expects, none of them the host's.
boot_script='
set -e
root=$0
cd "$root"
mount --bind "$root" "$root"
cd "$root"
mount -t proc proc proc
mount --bind proc/sys proc/sys
mount -o remount,bind,ro proc/sys
mount -t sysfs -o ro sysfs sys
mount -t tmpfs -o mode=755 tmpfs run
mount -t tmpfs -o mode=755 tmpfs dev
for node in null zero full random urandom tty; do
    touch dev/$node
    mount --bind /dev/$node dev/$node
done
ln -s /proc/self/fd dev/fd
mkdir dev/pts dev/shm
mount -t devpts -o newinstance,ptmxmode=666 devpts dev/pts
mount -t tmpfs tmpfs dev/shm
ln -s pts/ptmx dev/ptmx
# A group of its own in the hierarchy, and that one as the root of what is seen inside.
mkdir -p run/groups
mount -t cgroup2 none run/groups
mkdir -p run/groups/vrdx_test.$1
echo $$ >run/groups/vrdx_test.$1/cgroup.procs
umount run/groups
exec unshare --cgroup sh -c "
    mount -t cgroup2 none sys/fs/cgroup &&
    exec env -i container=other PATH=/usr/sbin:/usr/bin chroot . /lib/systemd/systemd --system --log-target=journal"
'

# Boots the root. Fails where namespaces or control groups cannot be had.
boot_root() {
    unshare --mount --pid --net --uts --ipc --fork --kill-child sh -c "$boot_script" "$root" $$ \
        >"$root.boot.log" 2>&1 </dev/null &
    booted_pid=$!
    local _
    for _ in $(seq 300); do
        service_pid=$(pgrep -P "$booted_pid") || true
        [ -n "$service_pid" ] && in_booted systemctl is-system-running 2>/dev/null | grep -Eq 'running|degraded' &&
            return 0
        kill -0 "$booted_pid" 2>/dev/null || break
        sleep 0.2
    done
    cat "$root.boot.log" >&2
    stop_root
    return 1
}

in_booted() {
    nsenter --target "$service_pid" --mount --pid --net --uts --ipc --cgroup --root --wd "$@"
}

stop_root() {
    [ -n "$booted_pid" ] || return 0
    kill -KILL "$booted_pid" 2>/dev/null || true
    wait "$booted_pid" 2>/dev/null || true
    booted_pid=
    # The groups are empty as soon as the kernel has ended all that ran in them.
    unshare --mount sh -c '
        mount -t cgroup2 none "$0/mnt" || exit 0
        for _ in $(seq 50); do
            find "$0/mnt/vrdx_test.$1" -depth -type d -exec rmdir {} + 2>/dev/null
            [ -d "$0/mnt/vrdx_test.$1" ] || exit 0
            sleep 0.1
        done' "$root" $$
}
