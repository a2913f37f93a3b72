# Writes a source with the bytes of pages and assets. Run by cmake -P with:
#   FOLDER   the folder with pages/ and static/
#   OUTPUT   the source to write
# In pages @BUILD@ stands for the hash of all files, @MODULES@ for the links that load modules beforehand. Scripts are as
# they were written, but for comments (// and a space): browsers need not load them. Lines keep their numbers.

cmake_minimum_required(VERSION 3.25)

function(bytes_of hex variable)
  string(REGEX REPLACE "(................................)" "\\1\n" lines "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${lines}")
  set(${variable} "${bytes}" PARENT_SCOPE)
endfunction()

file(GLOB pages ${FOLDER}/pages/*.html)
file(GLOB assets ${FOLDER}/static/*)
list(SORT pages)
list(SORT assets)

set(all "")
foreach(file ${pages} ${assets} ${CMAKE_CURRENT_LIST_FILE})
  file(SHA256 ${file} hash)
  get_filename_component(name ${file} NAME)
  string(APPEND all "${name} ${hash}\n")
endforeach()
string(SHA256 build "${all}")
string(SUBSTRING ${build} 0 16 build)

# Each page asks for all modules at once instead of finding them one after the other, but for those that begin a page.
set(page_texts "")
foreach(file ${pages})
  file(READ ${file} text)
  string(APPEND page_texts "${text}")
endforeach()
set(preloads "")
foreach(file ${assets})
  get_filename_component(name ${file} NAME)
  string(FIND "${page_texts}" "/${name}\"" begins_a_page)
  if(name MATCHES "[.]js$" AND begins_a_page EQUAL -1)
    string(APPEND preloads "<link rel=\"modulepreload\" href=\"/static/${build}/${name}\">\n")
  endif()
endforeach()

set(arrays "")
set(rows "")
set(number 0)
foreach(file ${pages} ${assets})
  get_filename_component(name ${file} NAME)
  if(file IN_LIST pages)
    file(READ ${file} text)
    string(REPLACE "@BUILD@" ${build} text "${text}")
    string(REPLACE "@MODULES@\n" "${preloads}" text "${text}")
    set(is_page true)
  else()
    file(READ ${file} text)
    if(name MATCHES "[.]js$")
      string(REGEX REPLACE "(^|\n)// [^\n]*" "\\1" text "${text}")
      string(REGEX REPLACE " +// [^\n]*" "" text "${text}")
    endif()
    set(is_page false)
  endif()
  file(WRITE ${OUTPUT}.file "${text}")
  file(READ ${OUTPUT}.file hex HEX)
  file(SHA256 ${OUTPUT}.file hash)
  file(REMOVE ${OUTPUT}.file)
  bytes_of("${hex}" bytes)
  string(APPEND arrays "constexpr unsigned char bytes_${number}[] = {\n${bytes}};\n")
  string(APPEND rows "    {\"${name}\", ${is_page}, \"${hash}\", bytes_${number}, sizeof bytes_${number}},\n")
  math(EXPR number "${number} + 1")
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
