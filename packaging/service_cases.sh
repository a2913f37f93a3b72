# Sourced by test_packages.sh: the service as a booted service manager runs it, in this order.
service_cases=(
    the_unit_is_valid_and_exposes_little
    one_command_starts_a_router
    routers_are_found_by_name_and_listed
    the_driver_is_confined
    a_killed_driver_is_started_again
    a_hanging_driver_is_started_again
    a_driver_that_a_client_ended_is_started_again
    an_unreadable_item_file_ends_no_service
    the_end_of_one_driver_leaves_the_others
    a_name_without_an_item_file_is_told_and_tried_again
    a_missing_user_is_told
    a_driver_starts_once_a_full_run_directory_has_room
    an_upgrade_goes_on_with_the_new_program
    removing_stops_the_drivers
)

unit() {
    echo "vrdx-routedriver@$1.service"
}

property() {
    in_booted systemctl show -P "$2" "$(unit "$1")"
}

is_active() {
    [ "$(property "$1" ActiveState)" = active ]
}

# The driver's process, another one than the one given.
runs_anew() {
    is_active "$1" && [ "$(property "$1" MainPID)" != "$2" ] && status_shows "$1" "Output 8"
}

the_unit_is_valid_and_exposes_little() {
    install_package "$driver_package"
    in_booted systemd-analyze verify --man=no "$(unit studio)"
    in_booted systemd-analyze security --threshold=20 "$(unit studio)"
}

one_command_starts_a_router() {
    write_item studio
    in_booted systemctl enable --now "$(unit studio)"
    is_active studio # a start returns once the driver has told that it is ready
    ctl studio ping
    wait_for status_shows studio "Output 8"
    ctl studio route 1=3 --wait
    expect_equal "$(property studio StatusText)" "Ready to serve data"
    expect_equal "$(owner_and_mode /run/vrdx/studio.sock)" "vrdx:vrdx 660"
    expect_equal "$(owner_and_mode /var/lib/vrdx/.tavrixmeta.studio.item)" "vrdx:vrdx 640"
    in_booted journalctl --no-pager -u "$(unit studio)" | grep "Media item setting"
}

routers_are_found_by_name_and_listed() {
    in_booted vrdx_routectl studio route 4=6 --no-wait
    head -c 5000 /dev/urandom >"$root/etc/vrdx/items/broken.item"
    in_booted systemctl start "$(unit broken)" # a broken item file is no reason not to start
    expect_code 1 in_booted vrdx_routectl broken status
    in_booted vrdx_routectl list >"$work/list" || true
    grep -E '^studio +yes +16x8 +running' "$work/list"
    grep -E '^broken +yes .*no router' "$work/list"
    in_booted vrdx_routectl studio logs | grep "'4' = '6'"
    in_booted systemctl stop "$(unit broken)"
    rm "$root/etc/vrdx/items/broken.item"
}

the_driver_is_confined() {
    local pid
    pid=$(property studio MainPID)
    in_booted grep -E '^NoNewPrivs:\s1$' "/proc/$pid/status"
    in_booted grep -E '^Seccomp:\s2$' "/proc/$pid/status"
    in_booted grep -E '^CapBnd:\s0+$' "/proc/$pid/status"
    expect_equal "$(in_booted stat -c %U "/proc/$pid")" vrdx
    expect_code 1 in_booted nsenter --target "$pid" --mount touch /etc/vrdx/items/studio.item
}

a_killed_driver_is_started_again() {
    local pid
    pid=$(property studio MainPID)
    in_booted systemctl kill --kill-whom=main --signal=KILL "$(unit studio)"
    wait_for runs_anew studio "$pid"
}

a_hanging_driver_is_started_again() {
    local pid drop_in=/run/systemd/system/vrdx-routedriver@.service.d
    in_booted mkdir -p "$drop_in"
    in_booted sh -c "printf '[Service]\nWatchdogSec=1\n' >$drop_in/watchdog.conf"
    in_booted systemctl daemon-reload
    in_booted systemctl restart "$(unit studio)"
    sleep 3 # three periods: fed, it stays
    expect_equal "$(property studio NRestarts)" 0
    pid=$(property studio MainPID)
    in_booted systemctl kill --kill-whom=main --signal=STOP "$(unit studio)"
    wait_for runs_anew studio "$pid"
    expect_equal "$(property studio NRestarts)" 1
    in_booted journalctl --no-pager -u "$(unit studio)" | grep -i "watchdog timeout"
    in_booted rm -r "$drop_in"
    in_booted systemctl daemon-reload
}

a_driver_that_a_client_ended_is_started_again() {
    local pid
    pid=$(property studio MainPID)
    ctl studio exit
    wait_for runs_anew studio "$pid"
}

an_unreadable_item_file_ends_no_service() {
    local pid item=$root/etc/vrdx/items/studio.item
    pid=$(property studio MainPID)
    chmod 600 "$item"
    touch -d '1 hour ago' "$item" # the driver reads what has changed
    wait_for in_booted sh -c "journalctl --no-pager -u '$(unit studio)' | grep 'Cannot open item file'"
    chmod 644 "$item"
    wait_for runs_anew studio "$pid"
}

the_end_of_one_driver_leaves_the_others() {
    write_item second
    in_booted systemctl start "$(unit second)"
    ctl second ping
    in_booted systemctl stop "$(unit second)"
    ctl studio route 2=5 --wait
}

a_name_without_an_item_file_is_told_and_tried_again() {
    expect_code 1 in_booted systemctl start "$(unit nowhere)"
    write_item nowhere
    wait_for is_active nowhere
    in_booted systemctl stop "$(unit nowhere)"
    expect_equal "$(property nowhere ActiveState)" inactive
    rm "$root/etc/vrdx/items/nowhere.item"
}

a_missing_user_is_told() {
    in_booted systemctl stop "$(unit studio)"
    in_booted userdel vrdx
    expect_code 1 in_booted systemctl start "$(unit studio)"
    expect_equal "$(property studio ExecMainStatus)" 217 # the service manager's code for an unknown user
    in_booted systemd-sysusers
    in_booted systemd-tmpfiles --create
    wait_for is_active studio
}

a_driver_starts_once_a_full_run_directory_has_room() {
    in_booted systemctl stop "$(unit studio)"
    in_booted mount -t tmpfs -o nr_inodes=1,uid=vrdx,gid=vrdx,mode=750 tmpfs /run/vrdx
    expect_code 1 in_booted systemctl start "$(unit studio)"
    in_booted umount /run/vrdx
    wait_for is_active studio
    ctl studio ping
}

an_upgrade_goes_on_with_the_new_program() {
    local pid
    pid=$(property studio MainPID)
    touch "$work/takes"
    # Takes go on meanwhile; each is done, or says that the driver was away for a moment.
    (
        source=1
        while [ -e "$work/takes" ]; do
            code=0
            ctl studio route 3=$((source = source % 16 + 1)) || code=$?
            [ "$code" -eq 0 ] || [ "$code" -eq 1 ] || [ "$code" -eq 3 ] || echo "exit code $code" >>"$work/odd"
        done
    ) &
    local takes=$!
    in_booted vrdx_routectl studio watch >"$work/watch" &
    install_package "$work/later.deb"
    wait_for runs_anew studio "$pid"
    rm "$work/takes"
    wait "$takes"
    [ ! -e "$work/odd" ]
    wait_for grep "driver back" "$work/watch"
    ctl studio route 6=11 --wait
    wait_for grep 'output 6 .* source .* -> 11 ' "$work/watch"
    expect_equal "$(in_booted systemctl is-active "$(unit second)" || true)" inactive
}

removing_stops_the_drivers() {
    in_booted dpkg -r vrdx-routedriver
    expect_code 3 in_booted systemctl is-active "$(unit studio)"
    [ -s "$root/etc/vrdx/items/studio.item" ]
}
