# Stage discovery-daemons (sourced by scripts/test): starts a system D-Bus and an
# Avahi daemon confined to the loopback interface, so that the end-to-end DNS-SD
# test can publish and browse cameras on 127.0.0.1 without touching any real
# network. Never fails the run: without Avahi that test skips itself.
#
# The test only browses when the running daemon is the one started here: its
# PID is written to ${AVAHI_LOOPBACK_MARKER}, beside the daemon's own PID file.

AVAHI_LOOPBACK_MARKER=/run/avahi-daemon/loopback-only-for-tests

# Waits until the daemon answers on D-Bus; false after about 5 s.
discovery_daemon_answers() {
    local _
    for _ in $(seq 1 25); do
        if avahi-daemon --check 2>/dev/null && timeout 3 avahi-browse --terminate --all >/dev/null 2>&1; then
            return 0
        fi
        sleep 0.2
    done
    return 1
}

system_bus_answers() {
    timeout 3 dbus-send --system --dest=org.freedesktop.DBus --type=method_call --print-reply \
        /org/freedesktop/DBus org.freedesktop.DBus.GetId >/dev/null 2>&1
}

# Writes the loopback-only daemon configuration and prints its path.
write_loopback_avahi_config() {
    local dir="$1"
    mkdir -p "${dir}"
    cat >"${dir}/avahi-daemon.conf" <<'EOF'
# Loopback only: tests publish and browse cameras on 127.0.0.1 and nothing
# may leave this machine.
[server]
allow-interfaces=lo
use-ipv4=yes
use-ipv6=no
enable-dbus=yes
disallow-other-stacks=no
ratelimit-interval-usec=1000000
ratelimit-burst=1000

[wide-area]
enable-wide-area=no

[publish]
publish-workstation=no
publish-hinfo=no
publish-addresses=yes
publish-domain=no
disable-publishing=no

[reflector]
enable-reflector=no
EOF
    printf '%s\n' "${dir}/avahi-daemon.conf"
}

start_discovery_daemons() {
    if ! command -v avahi-daemon >/dev/null || ! command -v dbus-daemon >/dev/null; then
        log "warning: avahi-daemon or dbus-daemon is not installed; the DNS-SD test will skip"
        return 0
    fi
    if avahi-daemon --check 2>/dev/null; then
        log "avahi-daemon is already running; leaving it as it is (the DNS-SD test runs only if it is the loopback one started here)"
        return 0
    fi
    if ((EUID != 0)); then
        log "warning: not root, cannot start avahi-daemon; the DNS-SD test will skip"
        return 0
    fi

    if ! system_bus_answers; then
        # Leftovers of a bus that is gone would stop a new one from starting.
        rm -f /run/dbus/system_bus_socket /run/dbus/pid
        mkdir -p /run/dbus
        if dbus-daemon --system --fork; then
            log "started the system D-Bus"
        else
            log "warning: the system D-Bus did not start; the DNS-SD test will skip"
            return 0
        fi
    fi

    local config
    if ! config="$(write_loopback_avahi_config "${BUILD_ROOT:-/tmp}/avahi")"; then
        log "warning: cannot write the avahi-daemon configuration; the DNS-SD test will skip"
        return 0
    fi
    if ! avahi-daemon --daemonize --file="${config}"; then
        log "warning: avahi-daemon did not start; the DNS-SD test will skip"
        return 0
    fi
    if discovery_daemon_answers; then
        cp /run/avahi-daemon/pid "${AVAHI_LOOPBACK_MARKER}"
        log "avahi-daemon runs on lo only (config ${config}, PID $(cat "${AVAHI_LOOPBACK_MARKER}"))"
    else
        log "warning: avahi-daemon started but does not answer; the DNS-SD test will skip"
    fi
    return 0
}
