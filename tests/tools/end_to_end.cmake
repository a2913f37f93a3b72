# vrdx_routectl against the real driver; each test method is a test of its own.
if(NOT VRDX_BACKEND_PREFIX STREQUAL "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vrdx_")
  return() # the driver would look for its backends elsewhere
endif()

foreach(file routectl_end_to_end_test routectl_list_end_to_end_test routectl_restart_end_to_end_test
    routectl_snapshot_end_to_end_test routectl_watch_end_to_end_test)
  set(program ${CMAKE_CURRENT_LIST_DIR}/${file}.py)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${program})
  file(STRINGS ${program} definitions REGEX "^(class|    def test_)")
  foreach(definition ${definitions})
    if(definition MATCHES "^class ([A-Za-z]+)")
      set(test_class ${CMAKE_MATCH_1})
    elseif(definition MATCHES "def (test_[a-z0-9_]+)")
      set(test ${test_class}.${CMAKE_MATCH_1})
      add_test(NAME ${test}
        COMMAND ${Python3_EXECUTABLE} -B ${program} $<TARGET_FILE:vrdx_routedriver>
          $<TARGET_FILE:vrdx_routectl> ${test})
      set_tests_properties(${test} PROPERTIES TIMEOUT 240 LABELS process)
    endif()
  endforeach()
endforeach()
