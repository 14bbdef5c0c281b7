#!/bin/sh
# SPDX-License-Identifier: MIT
# Tries the Debian packages and their service where they belong: in a Debian 12 of its own, made by
# debootstrap and booted with systemd in namespaces of its own. Needs root, debootstrap, and apt's
# mirror; to be run on Debian 12, as the packages are built here. Prints a line for each check.
# usage: scripts/service_trial.sh [FOLDER]
#   FOLDER  where downloaded packages are kept for the next time
# shellcheck disable=SC2016 # $(REPO_URI) is for apt
# shellcheck disable=SC2317 # functions are called by check, soon and trap
set -eu

# Mounts are made where they end with this process.
if [ -z "${ZV_TRIAL_MOUNTS-}" ]; then
    [ "$(id -u)" = 0 ] || { echo "service_trial.sh: needs root" >&2 && exit 2; }
    ZV_TRIAL_MOUNTS=private exec unshare --mount --propagation private "$0" "$@"
fi
downloads=${1:+$(realpath "$1")}
cd "$(dirname "$0")/.."
work=$(mktemp -d)
root=$work/root
group=$work/cgroup/zvprobe-trial.$$
booted=
failed=0

clean_up() {
    trap - EXIT INT TERM
    [ -z "$booted" ] || kill -KILL "$booted" 2>/dev/null || true
    if [ -d "$group" ]; then
        echo 1 >"$group/cgroup.kill" || true
        sleep 1
        find "$group" -depth -type d -exec rmdir {} + || true
    fi
    umount -l "$work/cgroup" "$root" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# check WHAT COMMAND...: one line, and what the command said when it fails
check() {
    what=$1
    shift
    if "$@" >"$work/said" 2>&1; then
        echo "ok      $what"
    else
        echo "FAILED  $what"
        tail -n 5 "$work/said" | sed 's/^/        /'
        failed=1
    fi
}

# soon SECONDS COMMAND...: until it succeeds
soon() {
    left=$1
    shift
    until "$@"; do
        [ "$left" -gt 0 ] || return 1
        left=$((left - 1))
        sleep 1
    done
}

inside() {
    timeout -k 5 120 nsenter -t "$init" -a env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

# property NAME -> its value for the service
property() { inside systemctl show -P "$1" zvprobe-monitor; }
is() { [ "$(property "$1")" = "$2" ]; }
install_from() { inside sh -c "apt-get install -y --no-install-recommends $1/*.deb"; }
metrics_have() { inside curl -sSf --max-time 5 http://127.0.0.1:9188/metrics | grep -q "$1"; }
configure() { printf '%b' "$1" >"$root/etc/zvprobe/watch.toml"; }
status_is() { inside grep -Eq "^$1:[[:space:]]+$2\$" "/proc/$(property MainPID)/status"; }
is_another() { [ "$(property MainPID)" != 0 ] && [ "$(property MainPID)" != "$1" ]; }
not() { ! "$@"; }

make_packages() {
    cmake --preset deb
    cmake --build --preset deb
    cpack --preset deb -B "$work/packages"
    mkdir "$work/first" "$work/second"
    cp "$work"/packages/libzv*[0-9]_*.deb "$work"/packages/zvprobe*.deb "$work/first"
    for package in "$work/first"/*.deb; do
        version=$(dpkg-deb -f "$package" Version)
        rm -rf "$work/tree"
        dpkg-deb --raw-extract "$package" "$work/tree"
        sed -i "s/\b$version\b/$version+second/g" "$work/tree/DEBIAN/control"
        dpkg-deb --root-owner-group --build "$work/tree" "$work/second"
    done
}

# What the packages depend on is fetched here: inside there is only a loopback interface.
make_root() {
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' \
        'Codename: bookworm' | head -n 1)
    timeout -k 5 900 debootstrap --variant=minbase --include=systemd-sysv,dbus,curl \
        ${downloads:+--cache-dir="$downloads"} bookworm "$root" "$mirror"
    mkdir "$root/trial"
    cp -r "$work/first" "$work/second" tests/media/single.ts "$root/trial"
    chmod -R a+rX "$root/trial"
    timeout -k 5 300 chroot "$root" sh -c \
        'apt-get install -y --no-install-recommends --download-only /trial/first/*.deb'
}

boot() {
    mkdir "$work/cgroup"
    mount -t cgroup2 cgroup2 "$work/cgroup"
    mkdir "$group"
    mount --bind "$root" "$root"
    sh -c "echo \$\$ >'$group/cgroup.procs'; exec unshare --cgroup --uts --ipc --pid --net --mount \
        --propagation private --fork --kill-child sh -eu -c '$(boot_commands)'" \
        </dev/null >"$work/console" 2>&1 &
    booted=$!
    soon 10 has_init
    soon 60 inside systemctl is-active --quiet multi-user.target
}

boot_commands() {
    cat <<COMMANDS
cd "$root"
mount -t proc proc proc
mount -t sysfs -o ro sysfs sys
mount -t cgroup2 cgroup2 sys/fs/cgroup
mount -t tmpfs tmpfs run
mount -t tmpfs -o mode=1777 tmpfs tmp
mount -t tmpfs -o mode=755 tmpfs dev
for device in null zero full random urandom tty; do
    touch dev/\$device
    mount --bind /dev/\$device dev/\$device
done
mkdir dev/pts dev/shm
mount -t devpts -o newinstance,ptmxmode=666 devpts dev/pts
ln -s pts/ptmx dev/ptmx
mount -t tmpfs -o mode=1777 tmpfs dev/shm
mkdir -p before
pivot_root . before
exec env -i container=trial PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    sh -c "umount -l /before; rmdir /before; exec /sbin/init"
COMMANDS
}

has_init() {
    init=$(ps -o pid= --ppid "$booted" | tr -d ' ')
    [ -n "$init" ] && [ "$(ps -o comm= -p "$init")" = systemd ]
}

try_installation() {
    check "the packages install" install_from /trial/first
    check "the first installation starts nothing" is ActiveState inactive
    check "it is not enabled either" not inside systemctl is-enabled --quiet zvprobe-monitor
}

try_start() {
    configure '[one]\nurl = "/trial/single.ts"\n'
    check "the service starts" inside systemctl start zvprobe-monitor
    check "its user is a dynamic one" is DynamicUser yes
    check "it does not run as root" status_is Uid '(6[1-5][0-9]{3}[[:space:]]*){4}'
    check "it has no capabilities" status_is 'Cap(Eff|Prm|Bnd)' 0+
    check "it can get no privileges" status_is NoNewPrivs 1
    check "its system calls are filtered" status_is Seccomp 2
    check "/metrics answers" soon 10 metrics_have '^zvprobe_ts_packets_total{source="one"} [1-9]'
}

try_reload() {
    process=$(property MainPID)
    configure '[one]\n'
    check "reload with a wrong configuration" inside systemctl reload zvprobe-monitor
    check "it is refused, and that is told" soon 10 status_tells refused
    check "the one before goes on" metrics_have 'source="one"'
    configure '[one]\nurl = "/trial/single.ts"\n[two]\nurl = "/trial/single.ts"\n'
    check "reload with a good one" inside systemctl reload zvprobe-monitor
    check "it is taken" soon 10 metrics_have 'zvprobe_up{source="two"}'
    check "by the same process" is MainPID "$process"
}
status_tells() { property StatusText | grep -q "$1"; }

try_watchdog() {
    process=$(property MainPID)
    inside kill -STOP "$process"
    check "the watchdog ends a process that stands still" soon 100 not is MainPID "$process"
    check "it is started again" soon 30 is_another "$process"
    check "for this reason" journal_tells "Watchdog timeout"
    check "and answers" soon 10 metrics_have 'source="two"'
}
journal_tells() { inside journalctl -u zvprobe-monitor --no-pager | grep -q "$1"; }

try_stop() {
    check "stop" inside systemctl stop zvprobe-monitor
    check "it has ended cleanly" is Result success
    check "with status 0" is ExecMainStatus 0
}

try_upgrade() {
    inside systemctl start zvprobe-monitor
    process=$(property MainPID)
    cp "$root/etc/zvprobe/watch.toml" "$work/watch.toml"
    check "a higher version installs" install_from /trial/second
    check "it is restarted" is_another "$process"
    check "and answers" soon 10 metrics_have 'source="two"'
    check "the configuration is kept" cmp "$work/watch.toml" "$root/etc/zvprobe/watch.toml"
}

try_purge() {
    inside systemctl enable zvprobe-monitor 2>/dev/null
    check "the packages are purged" inside apt-get purge -y 'zvprobe*' 'libzv*'
    check "the service has ended" is ActiveState inactive
    check "nothing is left" has_nothing_left
}
has_nothing_left() {
    inside find / -xdev -path /trial -prune -o -path /var/cache -prune -o \
        \( -name '*zvprobe*' -o -name '*libzv*' \) -print >"$work/left"
    cat "$work/left"
    [ ! -s "$work/left" ]
}

make_packages >"$work/log" 2>&1 || { tail -n 20 "$work/log" && exit 1; }
make_root >"$work/log" 2>&1 || { tail -n 20 "$work/log" && exit 1; }
check "systemd boots" boot
[ "$failed" = 0 ] || { tail -n 20 "$work/console" && exit 1; }
try_installation
try_start
try_reload
try_watchdog
try_stop
try_upgrade
try_purge
exit "$failed"
