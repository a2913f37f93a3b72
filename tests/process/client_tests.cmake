# Takes, settings and clients of the running driver.
if(NOT VRDX_BACKEND_PREFIX STREQUAL "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/vrdx_")
  return() # the driver would look for its backends elsewhere
endif()

vrdx_gtest(client_process_tests
  SOURCES
    take_test.cpp
    confirmation_test.cpp
    salvo_test.cpp
    settings_test.cpp
    bad_client_test.cpp
    bad_client_crowd_test.cpp
  LIBS test_support LABELS process TIMEOUT 240 COST 5)

# The cases that are data; see tests/cases/README.md.
set(cases_folder ${PROJECT_SOURCE_DIR}/tests/cases)
file(GLOB items CONFIGURE_DEPENDS RELATIVE ${cases_folder} ${cases_folder}/*/item)
foreach(item ${items})
  get_filename_component(case ${item} DIRECTORY)
  add_test(NAME Case.${case}
    COMMAND ${Python3_EXECUTABLE} -B ${cases_folder}/run_case.py
      $<TARGET_FILE:vrdx_routedriver> $<TARGET_FILE:vrdx_routectl> ${cases_folder}/${case})
  set_tests_properties(Case.${case} PROPERTIES TIMEOUT 240 LABELS "process;case" COST 3)
endforeach()
