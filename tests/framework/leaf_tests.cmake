vrdx_gtest(framework_tests
  SOURCES text_test.cpp system_user_test.cpp cnb_test.cpp item_reopen_test.cpp
    sliding_window_test.cpp sliding_window_write_test.cpp
    metadata_test.cpp metadata_write_test.cpp
  LIBS vrdx_framework LABELS framework)

# These programs stand in for the clock, and for some of the system, and so stand apart.
vrdx_gtest(clock_tests
  SOURCES settable_clock.cpp access_cache_test.cpp system_status_test.cpp
  LIBS vrdx_framework LABELS framework)
vrdx_gtest(monotonic_us_tests
  SOURCES monotonic_us_test.cpp
  LIBS vrdx_utils LABELS framework)
