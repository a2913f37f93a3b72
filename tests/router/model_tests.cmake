vrdx_gtest(router_tests
  SOURCES ../framework/settable_clock.cpp state_test.cpp planner_test.cpp assumed_take_test.cpp send_test.cpp
  LIBS routedriver_modules LABELS router)
target_include_directories(router_tests PRIVATE ../support ../framework)
