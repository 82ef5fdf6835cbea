# Compares the export table of the Windows DLL, read with the toolchain's
# objdump, with core/exports.def: every exported Z_ name is in the table at
# its ordinal, undecorated; every function the header declares is exported;
# the entry point is ordinal 1 and nothing else is exported.
#
# cmake -DOBJDUMP=... -DLIBRARY=ZTKRN10N.dll -DTABLE=exports.def
#       -DHEADER=ztkrn.h -P check_pe_exports.cmake
execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY}
  OUTPUT_VARIABLE dump RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${OBJDUMP} failed on ${LIBRARY}")
endif()

file(STRINGS ${TABLE} table_lines REGEX "^[ \t]+Z_[A-Za-z0-9_]+ @[0-9]+")
foreach(line IN LISTS table_lines)
  string(REGEX MATCH "Z_[A-Za-z0-9_]+" name "${line}")
  string(REGEX REPLACE ".*@([0-9]+).*" "\\1" ordinal "${line}")
  set(table_${name} ${ordinal})
endforeach()

string(REGEX MATCH "\nName[ \t]+[0-9a-fA-F]+ ([^\n]*)" _ "${dump}")
if(NOT CMAKE_MATCH_1 STREQUAL "ZTKRN10N.dll")
  message(FATAL_ERROR "the export directory names '${CMAKE_MATCH_1}'")
endif()
string(REGEX MATCH "Ordinal Base ([0-9]+)" base_line "${dump}")
set(base ${CMAKE_MATCH_1})
if(base STREQUAL "")
  message(FATAL_ERROR "no export table in ${LIBRARY}")
endif()

# The name table: "[index] name", where the ordinal is the index plus the
# base; newer objdumps also print "+base[ordinal]".
string(FIND "${dump}" "[Ordinal/Name Pointer] Table" at)
if(at EQUAL -1)
  message(FATAL_ERROR "no name table in ${LIBRARY}")
endif()
string(SUBSTRING "${dump}" ${at} -1 names)
string(REGEX REPLACE "\n[ \t]*\n.*" "" names "${names}")
string(REGEX MATCHALL "\\[ *[0-9]+\\] [^\n]+" entries "${names}")

set(errors "")
set(exported "")
set(entry_point "")
foreach(entry IN LISTS entries)
  string(REGEX MATCH "^\\[ *([0-9]+)\\]" _ "${entry}")
  math(EXPR ordinal "${CMAKE_MATCH_1} + ${base}")
  if(entry MATCHES "\\+base\\[ *([0-9]+)\\]")
    set(ordinal ${CMAKE_MATCH_1})
  endif()
  string(REGEX MATCH "[^ \t]+$" name "${entry}")
  if(name STREQUAL "DllMain")
    set(entry_point ${ordinal})
  elseif(NOT name MATCHES "^Z_")
    list(APPEND errors "exported but not a table function: ${name} @${ordinal}")
  elseif(NOT DEFINED table_${name})
    list(APPEND errors "exported but not in the table: ${name} @${ordinal}")
  elseif(NOT table_${name} EQUAL ordinal)
    list(APPEND errors "${name} is @${ordinal}, the table says @${table_${name}}")
  else()
    list(APPEND exported ${name})
  endif()
endforeach()
if(NOT entry_point STREQUAL "1")
  list(APPEND errors "the entry point is not exported at ordinal 1")
endif()

file(STRINGS ${HEADER} declarations REGEX "ZTKRN_EXPORT .* ZAPI Z_")
foreach(line IN LISTS declarations)
  string(REGEX MATCH "Z_[A-Za-z0-9_]+\\(" fn "${line}")
  string(REPLACE "(" "" fn "${fn}")
  list(FIND exported ${fn} found)
  if(found EQUAL -1)
    list(APPEND errors "declared in the header but not exported: ${fn}")
  endif()
endforeach()

if(errors)
  list(JOIN errors "\n  " text)
  message(FATAL_ERROR "ZTKRN10N.dll exports disagree with the table:\n  ${text}")
endif()
list(LENGTH exported count)
message(STATUS "ZTKRN10N.dll: entry point @1 and ${count} of 151 table functions, each at its ordinal, nothing else")
