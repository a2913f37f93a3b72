# Sourced by test_packages.sh: the gateway's package, in this order. First in a chroot, without a service manager.
gateway_package_cases=(
    the_gateway_needs_the_drivers_package
    installing_the_gateway_makes_its_user_and_directory
    a_token_is_added_before_the_first_start
    purging_the_gateway_takes_tokens_and_configuration
)

# Then as a booted service manager runs it.
gateway_service_cases=(
    the_gateways_unit_is_valid_and_exposes_little
    the_gateway_serves_the_installed_routers
    a_token_opens_the_routers_and_takes
    the_gateway_is_confined
    a_reload_takes_a_configuration_on_and_refuses_a_wrong_one
    a_killed_gateway_is_started_again
    a_removed_token_opens_nothing_any_more
    an_upgrade_of_the_gateway_keeps_tokens_and_locks
    removing_the_gateway_keeps_its_state_and_leaves_the_drivers
    purging_the_gateway_removes_its_state
)

gateway_unit=vrdx-gateway.service
gateway_url=http://127.0.0.1:8400

gateway_property() {
    in_booted systemctl show -P "$1" "$gateway_unit"
}

gateway_is_active() {
    [ "$(gateway_property ActiveState)" = active ]
}

# As another process than the one given, and answering.
gateway_runs_anew() {
    local pid
    pid=$(gateway_property MainPID)
    [ "$pid" != "$1" ] && [ "$pid" != 0 ] && gateway_is_active && in_booted curl -sSf --max-time 10 $gateway_url/readyz
}

# METHOD PATH [BODY]: the status code on the last line, below the reply.
ask_gateway() {
    local method=$1 path=$2 body=()
    [ $# -lt 3 ] || body=(-H "Content-Type: application/json" --data "$3")
    in_booted curl -sS --max-time 10 -w '\n%{http_code}\n' -X "$method" "${body[@]}" \
        -H "Authorization: Bearer $(cat "$work/token")" "$gateway_url$path"
}

gateway_answers() {
    local wanted=$1
    shift
    ask_gateway "$@" >"$work/answer"
    [ "$(tail -n 1 "$work/answer")" = "$wanted" ] || {
        cat "$work/answer"
        return 1
    }
}

the_gateway_needs_the_drivers_package() {
    cp "$gateway_package" "$root/root/package.deb"
    expect_code 1 in_root dpkg -i /root/package.deb
    rm "$root/root/package.deb"
    in_root dpkg -P vrdx-gateway
}

installing_the_gateway_makes_its_user_and_directory() {
    install_package "$driver_package"
    install_package "$gateway_package"
    in_root getent passwd vrdx-gateway | grep ':/usr/sbin/nologin$'
    in_root id -Gn vrdx-gateway | grep -w vrdx
    expect_equal "$(owner_and_mode /var/lib/vrdx-gateway)" "vrdx-gateway:vrdx-gateway 700"
    expect_equal "$(owner_and_mode /etc/vrdx/gateway.toml)" "root:root 644"
    in_root vrdx_gateway --check-config
    [ -s "$root/usr/share/doc/vrdx-gateway/examples/prometheus/vrdx-dashboard.json" ]
    [ -s "$root/usr/share/doc/vrdx-gateway/examples/prometheus/vrdx-alerts.yml" ]
    expect_equal "$(grep -cv '^#\|^$' "$root/etc/vrdx/gateway.toml")" 0 # nothing but comments
}

a_token_is_added_before_the_first_start() {
    in_root vrdx_gateway token add first --role view | grep -E '^vrdx_[A-Za-z0-9_-]{43}$'
    expect_equal "$(owner_and_mode /var/lib/vrdx-gateway/access.db)" "vrdx-gateway:vrdx-gateway 600"
    # The drivers' user and its group have no way to the tokens.
    expect_code 1 in_root setpriv --reuid vrdx --regid vrdx --init-groups cat /var/lib/vrdx-gateway/access.db
}

purging_the_gateway_takes_tokens_and_configuration() {
    in_root dpkg -P vrdx-gateway
    [ ! -e "$root/var/lib/vrdx-gateway" ]
    [ ! -e "$root/etc/vrdx/gateway.toml" ]
    [ -s "$root/etc/vrdx/items/studio.item" ]
    in_root dpkg -P vrdx-routedriver
}

the_gateways_unit_is_valid_and_exposes_little() {
    install_package "$driver_package"
    install_package "$gateway_package"
    in_booted systemd-analyze verify --man=no "$gateway_unit"
    in_booted systemd-analyze security --threshold=20 "$gateway_unit"
    expect_code 3 in_booted systemctl is-active "$gateway_unit" # nobody has asked for it yet
}

the_gateway_serves_the_installed_routers() {
    write_item studio
    in_booted systemctl start "$(unit studio)"
    wait_for status_shows studio "Output 8"
    in_booted systemctl enable --now "$gateway_unit"
    gateway_is_active
    gateway_property StatusText | grep "Serves 127.0.0.1:8400"
    expect_equal "$(in_booted curl -sS --max-time 10 -o /dev/null -w '%{http_code}' $gateway_url/readyz)" 200
    expect_equal "$(in_booted curl -sS --max-time 10 -o /dev/null -w '%{http_code}' $gateway_url/api/v1/routers)" 401
}

a_token_opens_the_routers_and_takes() {
    in_booted vrdx_gateway token add gallery --role operate >"$work/token"
    wait_for gateway_answers 200 GET /api/v1/routers
    grep '"name":"studio"' "$work/answer"
    grep '"state":"up"' "$work/answer"
    gateway_answers 200 POST /api/v1/routers/studio/takes '{"takes": [{"output": 1, "input": 7}]}'
    grep '"result":"confirmed"' "$work/answer"
    status_shows studio "Output 1 .* 7 Input 7"
    in_booted vrdx_routectl studio takes | grep gallery
    gateway_answers 200 POST /api/v1/routers/studio/outputs/2/lock '{"state": "lock", "reason": "on air"}'
}

the_gateway_is_confined() {
    local pid
    pid=$(gateway_property MainPID)
    in_booted grep -E '^NoNewPrivs:\s1$' "/proc/$pid/status"
    in_booted grep -E '^Seccomp:\s2$' "/proc/$pid/status"
    in_booted grep -E '^CapBnd:\s0+$' "/proc/$pid/status"
    in_booted grep -E '^Max open files +16384 +16384 ' "/proc/$pid/limits"
    expect_equal "$(in_booted stat -c %U "/proc/$pid")" vrdx-gateway
    expect_code 1 in_booted nsenter --target "$pid" --mount touch /etc/vrdx/items/studio.item
    expect_code 1 in_booted nsenter --target "$pid" --mount touch /var/lib/vrdx/written
}

a_reload_takes_a_configuration_on_and_refuses_a_wrong_one() {
    local pid
    pid=$(gateway_property MainPID)
    echo 'hosts = ["localhost", "routers.example"]' >>"$root/etc/vrdx/gateway.toml"
    expect_equal "$(in_booted curl -sS -o /dev/null -w '%{http_code}' -H 'Host: routers.example' $gateway_url/healthz)" 400
    in_booted systemctl reload "$gateway_unit"
    known_by_its_new_name() {
        [ "$(in_booted curl -sS -o /dev/null -w '%{http_code}' -H 'Host: routers.example' $gateway_url/healthz)" = 200 ]
    }
    wait_for known_by_its_new_name
    echo 'port = 1' >>"$root/etc/vrdx/gateway.toml"
    expect_code 1 in_booted systemctl reload "$gateway_unit"
    in_booted journalctl --no-pager -u "$gateway_unit" | grep 'gateway.toml:[0-9]*: there is no key "port"'
    known_by_its_new_name
    sed -i '/^port = 1$/d' "$root/etc/vrdx/gateway.toml"
    in_booted systemctl reload "$gateway_unit"
    expect_equal "$(gateway_property MainPID)" "$pid"
}

a_killed_gateway_is_started_again() {
    local pid
    pid=$(gateway_property MainPID)
    in_booted systemctl kill --kill-whom=main --signal=KILL "$gateway_unit"
    wait_for gateway_runs_anew "$pid"
    gateway_answers 200 GET /api/v1/routers/studio
    grep '"reason":"on air"' "$work/answer" # the lock was on the disk
}

a_removed_token_opens_nothing_any_more() {
    in_booted vrdx_gateway token remove gallery
    wait_for gateway_answers 401 GET /api/v1/routers
    in_booted vrdx_gateway token add supervisor --role admin >"$work/token"
    wait_for gateway_answers 200 GET /api/v1/routers
}

an_upgrade_of_the_gateway_keeps_tokens_and_locks() {
    local pid configuration
    pid=$(gateway_property MainPID)
    configuration=$(sha256sum <"$root/etc/vrdx/gateway.toml")
    install_package "$work/later_gateway.deb"
    wait_for gateway_runs_anew "$pid"
    gateway_answers 200 GET /api/v1/routers/studio
    grep '"reason":"on air"' "$work/answer"
    expect_equal "$(sha256sum <"$root/etc/vrdx/gateway.toml")" "$configuration"
}

removing_the_gateway_keeps_its_state_and_leaves_the_drivers() {
    in_booted dpkg -r vrdx-gateway
    [ ! -e "$root/usr/bin/vrdx_gateway" ]
    [ -s "$root/var/lib/vrdx-gateway/access.db" ]
    [ -s "$root/etc/vrdx/gateway.toml" ]
    expect_code 7 in_booted curl -sS --max-time 10 $gateway_url/healthz # nobody listens
    ctl studio route 1=3
}

purging_the_gateway_removes_its_state() {
    in_booted dpkg -P vrdx-gateway
    [ ! -e "$root/var/lib/vrdx-gateway" ]
    [ ! -e "$root/etc/vrdx/gateway.toml" ]
    [ ! -e "$root/etc/systemd/system/multi-user.target.wants/$gateway_unit" ]
    in_booted dpkg -r vrdx-routedriver
}
