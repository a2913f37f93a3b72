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

vrdx_installed_library_tests(installed_endpoint_test.py)
