# The kit for authors of backend programs: the check, the examples, the installed library, the page.
vrdx_python_tests(backend_check_test.py COST 15 ENVIRONMENT
  PYTHONDONTWRITEBYTECODE=1
  VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

foreach(language cpp python)
  vrdx_python_tests(example_backend_test.py SUFFIX .${language} ENVIRONMENT
    PYTHONPATH=${CMAKE_SOURCE_DIR}/tests/support
    VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
    VRDX_EXAMPLE=route_example_${language})
endforeach()

vrdx_python_tests(example_sources_test.py TIMEOUT 60 ENVIRONMENT
  VRDX_EXAMPLES=${CMAKE_SOURCE_DIR}/examples)

vrdx_python_tests(backend_protocol_page_test.py ENVIRONMENT
  VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
  VRDX_PAGE=${CMAKE_SOURCE_DIR}/docs/backend-protocol.md)

# What is built against the installed library is built as the library was.
set(installed_cxx_flags ${CMAKE_CXX_FLAGS})
if(VRDX_SANITIZE)
  set(installed_cxx_flags "-fsanitize=address,undefined")
endif()
vrdx_python_tests(installed_endpoint_test.py TIMEOUT 600 COST 4 ENVIRONMENT
  VRDX_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
  VRDX_BUILD=${CMAKE_BINARY_DIR}
  VRDX_EXAMPLES=${CMAKE_SOURCE_DIR}/examples
  CMAKE=${CMAKE_COMMAND}
  CXX=${CMAKE_CXX_COMPILER}
  "CXXFLAGS=${installed_cxx_flags}")
