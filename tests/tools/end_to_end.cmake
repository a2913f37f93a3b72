# vrdx_routectl against the real driver.
if(NOT VRDX_BACKEND_PREFIX STREQUAL "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vrdx_")
  return() # the driver would look for its backends elsewhere
endif()

foreach(script routectl_end_to_end_test routectl_list_end_to_end_test routectl_restart_end_to_end_test
    routectl_snapshot_end_to_end_test routectl_watch_end_to_end_test)
  vrdx_python_tests(${script}.py COST 4 ARGUMENTS $<TARGET_FILE:vrdx_routedriver> $<TARGET_FILE:vrdx_routectl>)
endforeach()
set_tests_properties(RoutectlLogs.test_following_survives_rotation_and_a_restart PROPERTIES COST 40)

vrdx_python_tests(routectl_gateway_end_to_end_test.py
  ARGUMENTS $<TARGET_FILE:vrdx_routedriver> $<TARGET_FILE:vrdx_gateway> $<TARGET_FILE:vrdx_routectl>)
