# Makes the linker's view of the exported functions from cmake/exports.txt, the one list of them:
#   TAVU_VERSION_SCRIPT  for the ELF linker: these names are global, every other is local
#   TAVU_DEF_FILE        for the PE linker: the export table
set(TAVU_EXPORTS_FILE ${PROJECT_SOURCE_DIR}/cmake/exports.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${TAVU_EXPORTS_FILE})
file(STRINGS ${TAVU_EXPORTS_FILE} export_names REGEX "^[A-Za-z]")

set(version_script "{\n    global:\n")
set(def_file "LIBRARY TavuOCI.dll\nEXPORTS\n")
foreach(name IN LISTS export_names)
    string(APPEND version_script "        ${name};\n")
    string(APPEND def_file "    ${name}\n")
endforeach()
string(APPEND version_script "    local:\n        *;\n};\n")

set(TAVU_VERSION_SCRIPT ${PROJECT_BINARY_DIR}/TavuOCI.map)
set(TAVU_DEF_FILE ${PROJECT_BINARY_DIR}/TavuOCI.def)
file(CONFIGURE OUTPUT ${TAVU_VERSION_SCRIPT} CONTENT "${version_script}" @ONLY)
file(CONFIGURE OUTPUT ${TAVU_DEF_FILE} CONTENT "${def_file}" @ONLY)
