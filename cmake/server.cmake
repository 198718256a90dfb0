# The development server. It shares no code with the library; its parts are a library of their own
# so that the server's unit tests reach them.
tavu_glob(server_sources server)
set(server_parts ${server_sources})
list(FILTER server_parts EXCLUDE REGEX "/server/main\\.cpp$")

if(server_parts)
    find_package(SQLite3 REQUIRED)
    find_path(TAVU_GMP_INCLUDE gmpxx.h REQUIRED)
    find_library(TAVU_GMP gmp REQUIRED)
    find_library(TAVU_GMPXX gmpxx REQUIRED)
    add_library(tavud_parts STATIC ${server_parts})
    target_include_directories(tavud_parts PUBLIC . include)
    target_include_directories(tavud_parts SYSTEM PUBLIC ${TAVU_GMP_INCLUDE})
    target_link_libraries(tavud_parts
        PRIVATE tavu_warnings
        PUBLIC SQLite::SQLite3 Threads::Threads ${TAVU_GMPXX} ${TAVU_GMP})
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/server/main.cpp)
    add_executable(tavud server/main.cpp)
    target_link_libraries(tavud PRIVATE tavu_warnings tavud_parts)
endif()
