# The kit for authors of backend programs: the check, the examples, the installed library, the page. The tests
# are Python; every test method is a test of its own.
function(vrdx_python_tests script)
  cmake_parse_arguments(arg "" "TIMEOUT;SUFFIX" "ENVIRONMENT" ${ARGN})
  set(path ${CMAKE_CURRENT_LIST_DIR}/${script})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
  file(STRINGS ${path} definitions REGEX "^(class|    def test_)")
  foreach(definition ${definitions})
    if(definition MATCHES "^class ([A-Za-z]+)")
      set(test_class ${CMAKE_MATCH_1})
    elseif(definition MATCHES "def (test_[a-z0-9_]+)")
      set(method ${test_class}.${CMAKE_MATCH_1})
      set(name ${method}${arg_SUFFIX})
      add_test(NAME ${name} COMMAND ${Python3_EXECUTABLE} -B ${path} ${method})
      set_tests_properties(${name} PROPERTIES
        TIMEOUT ${arg_TIMEOUT} LABELS process ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
  endforeach()
endfunction()

vrdx_python_tests(backend_check_test.py TIMEOUT 240 ENVIRONMENT
  PYTHONDONTWRITEBYTECODE=1
  VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

foreach(language cpp python)
  vrdx_python_tests(example_backend_test.py TIMEOUT 240 SUFFIX .${language} ENVIRONMENT
    PYTHONPATH=${CMAKE_SOURCE_DIR}/tests/support
    VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
    VRDX_EXAMPLE=route_example_${language})
endforeach()

vrdx_python_tests(example_sources_test.py TIMEOUT 60 ENVIRONMENT
  VRDX_EXAMPLES=${CMAKE_SOURCE_DIR}/examples)

vrdx_python_tests(backend_protocol_page_test.py TIMEOUT 240 ENVIRONMENT
  VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
  VRDX_PAGE=${CMAKE_SOURCE_DIR}/docs/backend-protocol.md)

# What is built against the installed library is built as the library was.
set(installed_cxx_flags "")
if(VRDX_SANITIZE)
  set(installed_cxx_flags "-fsanitize=address,undefined")
endif()
vrdx_python_tests(installed_endpoint_test.py TIMEOUT 600 ENVIRONMENT
  VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
  VRDX_BUILD=${CMAKE_BINARY_DIR}
  VRDX_EXAMPLES=${CMAKE_SOURCE_DIR}/examples
  CMAKE=${CMAKE_COMMAND}
  CXX=${CMAKE_CXX_COMPILER}
  "CXXFLAGS=${installed_cxx_flags}")
