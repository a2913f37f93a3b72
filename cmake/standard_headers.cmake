# Compiles the library headers that most sources want once for all of them. More than half of the compiler's time
# for a source went into these. Only where VRDX_PRECOMPILED says so: elsewhere, and so in every lint and package,
# each source has to name what it uses.
file(WRITE ${CMAKE_BINARY_DIR}/standard_headers.cpp "")
add_library(standard_headers STATIC ${CMAKE_BINARY_DIR}/standard_headers.cpp)
set(headers <algorithm> <array> <charconv> <cstdint> <cstdio> <cstring> <functional> <limits> <map> <memory> <optional>
  <set> <string> <string_view> <utility> <vector>)
target_precompile_headers(standard_headers PRIVATE ${headers})

# With these besides, for those that read and write JSON.
find_package(nlohmann_json REQUIRED)
add_library(json_headers STATIC ${CMAKE_BINARY_DIR}/standard_headers.cpp)
target_link_libraries(json_headers PUBLIC nlohmann_json::nlohmann_json)
target_precompile_headers(json_headers PRIVATE ${headers} <chrono> <span> <nlohmann/json.hpp>)

# For the targets of a folder and of those below it.
function(vrdx_use_standard_headers folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    if(type MATCHES "STATIC_LIBRARY|EXECUTABLE")
      set(reused standard_headers)
      get_target_property(libraries ${target} LINK_LIBRARIES)
      if("nlohmann_json::nlohmann_json" IN_LIST libraries)
        set(reused json_headers)
      endif()
      target_precompile_headers(${target} REUSE_FROM ${reused})
      if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # g++ takes what comes so for our own code, and finds faults in its library
        target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
      endif()
    endif()
  endforeach()
  get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(subfolder ${subfolders})
    vrdx_use_standard_headers(${subfolder})
  endforeach()
endfunction()
