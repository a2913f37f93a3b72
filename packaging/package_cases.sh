# Sourced by test_packages.sh: what the packages do to a system, tried in a chroot, in this order. There, a driver is
# started by the command line of the installed unit, as the unit's user.
package_cases=(
    lintian_finds_no_error
    installing_makes_user_and_directories
    a_router_is_driven_by_the_installed_programs
    the_group_may_use_the_router_and_others_may_not
    a_broken_item_file_serves_no_router
    a_full_run_directory_is_told
    an_upgrade_keeps_item_files_and_metadata
    installing_again_brings_back_a_lost_user
    removing_keeps_item_files_and_metadata
    purging_keeps_item_files_only
    the_libraries_are_found_by_pkg_config
)

# The unit's command line for a router, as words.
unit_command() {
    sed -n 's/^ExecStart=//p' "$root/usr/lib/systemd/system/vrdx-routedriver@.service" | sed "s/%i/$1/g"
}

as_vrdx() {
    in_root setpriv --reuid vrdx --regid vrdx --init-groups "$@"
}

start_driver() {
    # shellcheck disable=SC2046 # the words of the command
    as_vrdx $(unit_command "$1") </dev/null &
    driver=$!
}

stop_driver() {
    ctl "$1" exit
    wait "$driver"
}

# vrdx_routectl for a router by its name.
ctl() {
    local name=$1
    shift
    "${inside[@]}" vrdx_routectl --sock "/run/vrdx/$name.sock" "/etc/vrdx/items/$name.item" "$@"
}

status_shows() {
    ctl "$1" status | grep "$2"
}

write_item() {
    cat >"$root/etc/vrdx/items/$1.item" <<'ITEM'
driver=route_simulator
simulated inputs=16
simulated outputs=8
simulated levels=video,audio
simulated refuse outputs=5
ITEM
}

owner_and_mode() {
    "${inside[@]}" stat -c '%U:%G %a' "$1"
}

# What an administrator would miss.
kept_files() {
    (cd "$root" && sha256sum etc/vrdx/items/* var/lib/vrdx/.tavrixmeta.*)
}

lintian_finds_no_error() {
    TMPDIR=$work lintian --allow-root --fail-on error "$driver_package" "$gateway_package" "$endpoint_package"
}

installing_makes_user_and_directories() {
    install_package "$driver_package"
    in_root getent passwd vrdx | grep ':/usr/sbin/nologin$'
    in_root getent group vrdx
    expect_equal "$(owner_and_mode /etc/vrdx/items)" "root:vrdx 750"
    expect_equal "$(owner_and_mode /run/vrdx)" "vrdx:vrdx 750"
    expect_equal "$(owner_and_mode /var/lib/vrdx)" "vrdx:vrdx 750"
}

a_router_is_driven_by_the_installed_programs() {
    write_item studio
    start_driver studio
    wait_for status_shows studio "Output 8"
    ctl studio route 1=3 --wait
    ctl studio route 2=4,7 --wait
    ctl studio status | grep -E '^ +1 +Output 1 +3 Input 3 +3 Input 3$'
    ctl studio status | grep -E '^ +2 +Output 2 +4 Input 4 +7 Input 7$'
    expect_code 1 ctl studio route 5=9 --wait
    ctl studio router-set "output.1.name=Studio A monitor"
    wait_for status_shows studio "Studio A monitor"
    expect_equal "$(owner_and_mode /var/lib/vrdx/.tavrixmeta.studio.item)" "vrdx:vrdx 644"
    stop_driver studio
    [ ! -e "$root/run/vrdx/studio.sock" ]
}

the_group_may_use_the_router_and_others_may_not() {
    in_root useradd --no-create-home --groups vrdx panel
    start_driver studio
    wait_for status_shows studio "Output 8"
    in_root setpriv --reuid panel --init-groups vrdx_routectl --sock /run/vrdx/studio.sock x route 1=2 --wait
    expect_code 3 in_root setpriv --reuid nobody --regid nogroup --clear-groups \
        vrdx_routectl --sock /run/vrdx/studio.sock --timeout 1 x status
    stop_driver studio
    in_root userdel panel
}

a_broken_item_file_serves_no_router() {
    head -c 5000 /dev/urandom >"$root/etc/vrdx/items/broken.item"
    printf '\ndriver=../../bin/sh\n' >>"$root/etc/vrdx/items/broken.item"
    start_driver broken
    wait_for ctl broken ping
    expect_code 1 ctl broken status | tee "$work/answer"
    grep "no router" "$work/answer"
    stop_driver broken
    rm "$root/etc/vrdx/items/broken.item"
}

a_full_run_directory_is_told() {
    # shellcheck disable=SC2016 # expanded inside
    expect_code 1 in_root sh -c '
        mount -t tmpfs -o nr_inodes=1,uid=vrdx,gid=vrdx,mode=750 tmpfs /run/vrdx &&
        exec setpriv --reuid vrdx --regid vrdx --init-groups "$@"' sh $(unit_command studio) 2>"$work/trace"
    grep "Cannot serve socket /run/vrdx/studio.sock: No space left on device" "$work/trace"
}

an_upgrade_keeps_item_files_and_metadata() {
    local before
    before=$(kept_files)
    install_package "$work/later.deb"
    in_root dpkg-query -W -f '${Version}\n' vrdx-routedriver | grep '+later$'
    expect_equal "$(kept_files)" "$before"
}

installing_again_brings_back_a_lost_user() {
    in_root userdel vrdx
    expect_code 2 in_root getent passwd vrdx
    install_package "$work/later.deb"
    in_root getent passwd vrdx
    expect_equal "$(owner_and_mode /var/lib/vrdx)" "vrdx:vrdx 750"
}

removing_keeps_item_files_and_metadata() {
    local before
    before=$(kept_files)
    in_root dpkg -r vrdx-routedriver
    [ ! -e "$root/usr/bin/vrdx_routedriver" ]
    expect_equal "$(kept_files)" "$before"
    install_package "$driver_package"
    expect_equal "$(kept_files)" "$before"
}

purging_keeps_item_files_only() {
    in_root dpkg -P vrdx-routedriver
    [ -s "$root/etc/vrdx/items/studio.item" ]
    [ ! -e "$root/var/lib/vrdx" ]
    [ ! -e "$root/run/vrdx" ]
}

# Builds an example that the installed package brings with the flags that pkg-config knows for the library.
build_example() {
    local library=$1 standard=$2 source=$root/usr/share/doc/libvrdx-endpoint-dev/examples/$3 flags
    [ -s "$source" ]
    flags=$(PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_PATH=$root/usr/lib/x86_64-linux-gnu/pkgconfig \
        PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 PKG_CONFIG_ALLOW_SYSTEM_LIBS=1 pkg-config --cflags --libs "$library")
    # shellcheck disable=SC2086 # several flags
    g++ "-std=$standard" -o "$work/example" "$source" $flags
}

the_libraries_are_found_by_pkg_config() {
    install_package "$endpoint_package"
    build_example vrdx-endpoint c++17 backend_cpp/vrdx_route_example_cpp.cpp
    build_example vrdx-packet-client c++20 client_cpp/vrdx_take_example.cpp
}
