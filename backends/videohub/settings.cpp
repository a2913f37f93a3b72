#include "settings.h"

item_settings videohub_setting_table(videohub_settings& settings) {
    return {
        text_setting("address", settings.address, true),
        number_setting("port", settings.port, 1, highest_port, true),
        number_setting("connect timeout ms", settings.connect_timeout_ms, 1, longest_setting_ms, true),
        switch_setting("videohub monitoring outputs", settings.with_monitors),
        switch_setting("videohub serial ports", settings.with_serial_ports),
        switch_setting("videohub one take per block", settings.one_take_per_block),
        number_setting("videohub ping ms", settings.ping_ms, 1, longest_setting_ms),
        number_setting("videohub silence ms", settings.silence_ms, 1, longest_setting_ms),
        number_setting("videohub answer ms", settings.answer_ms, 1, longest_setting_ms),
        number_setting("videohub reconnect ms", settings.reconnect_ms, 1, longest_setting_ms),
    };
}
