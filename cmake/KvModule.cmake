# Helpers shared by every module, tool, test, benchmark and fuzz target of the project.
#
# kv_add_module(<Module>
#     HEADERS <public headers...>        installed as include/<Module>/<file name>
#     SOURCES <sources, private headers, .ui, .qrc...>
#     [PUBLIC_LIBS <targets...>] [PRIVATE_LIBS <targets...>])
#
# Makes a shared library <Module> with the alias KvBlockLibrary::<Module>, hidden symbol
# visibility, the generated export header <Module>/<module>_export.h with the macros
# <MODULE>_EXPORT, and an include tree in the build directory
# that mirrors the installed one, so that code inside and outside the project writes
# #include <Module/Class.h> alike.

include(GenerateExportHeader)
include(GNUInstallDirs)

set(KV_EXPORT_SET KvBlockLibraryTargets)

function(kv_add_module name)
    cmake_parse_arguments(ARG "" "" "HEADERS;SOURCES;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
    string(TOUPPER "${name}" upper)
    string(TOLOWER "${name}" lower)

    add_library(${name} SHARED ${ARG_HEADERS} ${ARG_SOURCES})
    add_library(KvBlockLibrary::${name} ALIAS ${name})
    set_target_properties(${name} PROPERTIES
        EXPORT_NAME ${name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        # Installed modules find each other beside themselves, wherever the prefix is.
        INSTALL_RPATH "$ORIGIN"
        AUTOMOC ON
        AUTOUIC ON
        AUTORCC ON)

    set(include_root "${CMAKE_CURRENT_BINARY_DIR}/include")
    set(export_header "${include_root}/${name}/${lower}_export.h")
    generate_export_header(${name}
        BASE_NAME ${upper}
        EXPORT_FILE_NAME "${export_header}")

    # Forwarding headers: the sources may sit in sub-folders, the installed tree is flat.
    foreach(header IN LISTS ARG_HEADERS)
        get_filename_component(abs "${header}" ABSOLUTE)
        get_filename_component(file_name "${header}" NAME)
        file(CONFIGURE OUTPUT "${include_root}/${name}/${file_name}"
             CONTENT "#include \"${abs}\"\n" @ONLY)
    endforeach()

    target_include_directories(${name}
        PUBLIC
            $<BUILD_INTERFACE:${include_root}>
            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
        PRIVATE
            ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
    target_compile_options(${name} PRIVATE ${KV_WARNING_FLAGS})

    install(TARGETS ${name} EXPORT ${KV_EXPORT_SET}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
    install(FILES ${ARG_HEADERS} "${export_header}"
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name})
endfunction()

# kv_add_test(<name> SOURCES <files...> LIBS <targets...>)
# A QtTest executable run by ctest under the offscreen platform. Tests see the private
# headers of the modules they link (include "Foo_p.h" through the module's source folder).
function(kv_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;INCLUDES" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON AUTOUIC ON AUTORCC ON)
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBS})
    target_include_directories(${name} PRIVATE ${ARG_INCLUDES} ${PROJECT_SOURCE_DIR}/tests/support)
    target_compile_definitions(${name} PRIVATE KV_TEST_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    target_compile_options(${name} PRIVATE ${KV_WARNING_FLAGS})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()

# kv_add_fuzzer(<name> SOURCES <files...> LIBS <targets...>)
# <name> is the corpus name: fuzz/corpus/<name>/ holds the committed corpus. With
# KV_BUILD_FUZZ the target fuzz_<name> is a libFuzzer binary; in a test build the same
# entry point is linked to a replay driver and every committed input runs as a ctest.
function(kv_add_fuzzer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    if(KV_BUILD_FUZZ)
        add_executable(fuzz_${name} ${ARG_SOURCES})
        target_link_libraries(fuzz_${name} PRIVATE ${ARG_LIBS})
        target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
        target_include_directories(fuzz_${name} PRIVATE ${PROJECT_SOURCE_DIR}/fuzz ${PROJECT_SOURCE_DIR}/tests/support)
    elseif(KV_BUILD_TESTS)
        add_executable(replay_${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/FuzzReplayMain.cpp)
        target_link_libraries(replay_${name} PRIVATE ${ARG_LIBS})
        target_include_directories(replay_${name} PRIVATE ${PROJECT_SOURCE_DIR}/fuzz ${PROJECT_SOURCE_DIR}/tests/support)
        add_test(NAME replay_${name}
                 COMMAND replay_${name} ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
        set_tests_properties(replay_${name} PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
    endif()
endfunction()
