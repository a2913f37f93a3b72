vrdx_gtest(router_tests
  SOURCES ../framework/settable_clock.cpp picture_test.cpp shown_take_test.cpp planner_test.cpp assumed_take_test.cpp
    pending_test.cpp end_wait_test.cpp waiting_limits_test.cpp turns_test.cpp
    turns_of_users_test.cpp turns_random_test.cpp takes_test.cpp asked_takes_test.cpp reported_levels_test.cpp
  LIBS routedriver_modules LABELS router)
target_include_directories(router_tests PRIVATE ../support ../framework)
