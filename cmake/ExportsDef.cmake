# Writes the module-definition file of the Windows DLL: the export table of
# core/exports.def cut down to the functions this build defines, each at its
# ordinal, with the entry point at ordinal 1. Functions land in the table a
# family at a time, so the list comes from the objects themselves.
#
# cmake -DNM=... -DTABLE=exports.def -DOBJECTS="a.obj|b.obj" -DOUTPUT=x.def
#       -DSTDCALL=ON|OFF -P ExportsDef.cmake
# With STDCALL the objects carry 32-bit __stdcall names (_Name@bytes), and
# each export maps its plain name onto the decorated one.
string(REPLACE "|" ";" objects "${OBJECTS}")
execute_process(COMMAND ${NM} -g --defined-only ${objects}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${NM} failed on the library's objects")
endif()

# Plain name -> the name the linker knows it by.
string(REGEX MATCHALL "[ \t]T _?Z_[A-Za-z0-9_]+(@[0-9]+)?" defined "${symbols}")
foreach(entry IN LISTS defined)
  string(REGEX REPLACE "^[ \t]T _?" "" symbol "${entry}")
  string(REGEX REPLACE "@[0-9]+$" "" name "${symbol}")
  set(symbol_${name} "${symbol}")
endforeach()

if(STDCALL)
  set(text "LIBRARY ZTKRN10N\nEXPORTS\n    DllMain = DllMain@12 @1\n")
else()
  set(text "LIBRARY ZTKRN10N\nEXPORTS\n    DllMain @1\n")
endif()
file(STRINGS ${TABLE} table REGEX "^[ \t]+Z_[A-Za-z0-9_]+ @[0-9]+")
set(count 0)
foreach(line IN LISTS table)
  string(REGEX MATCH "Z_[A-Za-z0-9_]+" name "${line}")
  string(REGEX MATCH "@[0-9]+" ordinal "${line}")
  if(NOT DEFINED symbol_${name})
    continue()
  endif()
  if(symbol_${name} STREQUAL name)
    string(APPEND text "    ${name} ${ordinal}\n")
  else()
    string(APPEND text "    ${name} = ${symbol_${name}} ${ordinal}\n")
  endif()
  math(EXPR count "${count} + 1")
endforeach()
file(WRITE ${OUTPUT} "${text}")
message(STATUS "ZTKRN10N exports ${count} functions of the table")
