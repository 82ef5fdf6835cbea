# The Windows packaging of the library, included from the top level.
#
# The DLL is ZTKRN10N.dll, with its entry point (core/os/win32_dll.cpp, built
# into the DLL only) and exports by name at the documented ordinals, taken
# from a module-definition file that is generated from core/exports.def and
# the functions the objects actually define. The static library keeps no
# entry point: win32.cpp starts the module from an executable's TLS
# callbacks.
target_sources(ztkrn PRIVATE ${PROJECT_SOURCE_DIR}/core/os/win32_dll.cpp)
target_include_directories(ztkrn PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_options(ztkrn PRIVATE -fno-exceptions)
set_target_properties(ztkrn PROPERTIES
  OUTPUT_NAME ZTKRN10N
  PREFIX ""
  IMPORT_PREFIX ""
  IMPORT_SUFFIX ".lib"
  ARCHIVE_OUTPUT_NAME ZTKRN10N)

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(ztkrn_stdcall ON)
else()
  set(ztkrn_stdcall OFF)
endif()
set(ztkrn_def ${PROJECT_BINARY_DIR}/ZTKRN10N.def)
add_custom_command(OUTPUT ${ztkrn_def}
  COMMAND ${CMAKE_COMMAND}
    -DNM=${CMAKE_NM}
    -DTABLE=${PROJECT_SOURCE_DIR}/core/exports.def
    "-DOBJECTS=$<JOIN:$<TARGET_OBJECTS:ztkrn_objects>,|>"
    -DOUTPUT=${ztkrn_def}
    -DSTDCALL=${ztkrn_stdcall}
    -P ${PROJECT_SOURCE_DIR}/cmake/ExportsDef.cmake
  DEPENDS $<TARGET_OBJECTS:ztkrn_objects>
    ${PROJECT_SOURCE_DIR}/core/exports.def
    ${PROJECT_SOURCE_DIR}/cmake/ExportsDef.cmake
  COMMENT "Writing the export table of ZTKRN10N.dll"
  VERBATIM)
target_sources(ztkrn PRIVATE ${ztkrn_def})
