# Writes a source with the bytes of pages and assets. Run by cmake -P with:
#   FOLDER   the folder with page.html and static/
#   OUTPUT   the source to write
# All pages are page.html: @SCRIPT@ is what begins it, @BUILD@ the hash of all files, @MODULES@ the links that load modules
# beforehand. Scripts are as they were written, but for comments (// and a space): browsers need not load them. Lines keep
# their numbers.

cmake_minimum_required(VERSION 3.25)

set(pages index history matrix panel presets routers) # "index" is "/" and logs in

function(script_of page variable)
  string(REGEX REPLACE "^index$" "login" page ${page})
  set(${variable} ${page}_page.js PARENT_SCOPE)
endfunction()

file(GLOB assets ${FOLDER}/static/*)
list(SORT assets)

set(all "")
foreach(file ${FOLDER}/page.html ${assets} ${CMAKE_CURRENT_LIST_FILE})
  file(SHA256 ${file} hash)
  get_filename_component(name ${file} NAME)
  string(APPEND all "${name} ${hash}\n")
endforeach()
string(SHA256 build "${all}")
string(SUBSTRING ${build} 0 16 build)

set(arrays "")
set(rows "")

# The file whose bytes stand in `text`.
function(embed name is_page)
  file(WRITE ${OUTPUT}.file "${text}")
  file(READ ${OUTPUT}.file bytes HEX)
  file(SHA256 ${OUTPUT}.file hash)
  file(REMOVE ${OUTPUT}.file)
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  string(MAKE_C_IDENTIFIER "${name}" identifier)
  string(APPEND arrays "constexpr unsigned char bytes_of_${identifier}[] = {\n${bytes}};\n")
  string(APPEND rows "    {\"${name}\", ${is_page}, \"${hash}\", bytes_of_${identifier}, sizeof bytes_of_${identifier}},\n")
  set(arrays "${arrays}" PARENT_SCOPE)
  set(rows "${rows}" PARENT_SCOPE)
endfunction()

# Each page asks for all modules at once instead of finding them one after the other, but for those that begin a page; the
# one that logs in needs few.
set(beginning "")
foreach(page ${pages})
  script_of(${page} script)
  list(APPEND beginning ${script})
endforeach()
set(preloads "")
foreach(file ${assets})
  get_filename_component(name ${file} NAME)
  file(READ ${file} text)
  if(name MATCHES "[.]js$")
    string(REGEX REPLACE "(^|\n)// [^\n]*" "\\1" text "${text}")
    string(REGEX REPLACE " +// [^\n]*" "" text "${text}")
    if(NOT name IN_LIST beginning)
      string(APPEND preloads "<link rel=\"modulepreload\" href=\"/static/${build}/${name}\">\n")
    endif()
  endif()
  embed(${name} false)
endforeach()

foreach(page ${pages})
  script_of(${page} script)
  file(READ ${FOLDER}/page.html text)
  string(REPLACE "@BUILD@" ${build} text "${text}")
  string(REPLACE "@SCRIPT@" ${script} text "${text}")
  if(page STREQUAL index)
    string(REPLACE "@MODULES@\n" "" text "${text}")
  else()
    string(REPLACE "@MODULES@\n" "${preloads}" text "${text}")
  endif()
  embed(${page}.html true)
endforeach()

file(WRITE ${OUTPUT} "// Generated from the files of the panel.
#include \"gateway/panel/embedded_files.h\"

namespace gateway {

namespace {

${arrays}
constexpr embedded_file files[] = {
${rows}};

} // namespace

std::span<const embedded_file> embedded_files() {
    return files;
}

const char* embedded_build() {
    return \"${build}\";
}

} // namespace gateway
")
