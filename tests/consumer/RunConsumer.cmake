# cmake -DBUILD_DIR=... -DWORK_DIR=... -DPROJECT_DIR=... -DCXX_COMPILER=... [-DSANITIZE=...] -P RunConsumer.cmake

function(run step)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${step} failed (${result}):\n${out}\n${err}")
    endif()
    set(last_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run("install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# The installed tree: public headers flat under include/<Module>/, never a private header.
file(GLOB_RECURSE private_headers "${prefix}/include/*_p.h")
if(private_headers)
    message(FATAL_ERROR "private headers installed: ${private_headers}")
endif()
foreach(header
        LxUtilities/StreamType.h LxUtilities/IniParser.h LxUtilities/lxutilities_export.h
        LxFileSystem/FileView.h LxFileSystem/FileStorageView.h
        KvMultilingual/Text.h KvSystem/System.h
        KvBlockLibrary/Block.h KvBlockLibrary/BlockLibraryFile.h KvBlockLibrary/kvblocklibrary_export.h)
    if(NOT EXISTS "${prefix}/include/${header}")
        message(FATAL_ERROR "missing installed header include/${header}")
    endif()
endforeach()

set(flags "")
if(SANITIZE)
    set(flags "-fsanitize=${SANITIZE}")
endif()
run("configure consumer" ${CMAKE_COMMAND} -S "${PROJECT_DIR}" -B "${WORK_DIR}/consumer" -G Ninja
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_EXE_LINKER_FLAGS=${flags}")
run("build consumer" ${CMAKE_COMMAND} --build "${WORK_DIR}/consumer")
run("run consumer" "${WORK_DIR}/consumer/consumer")
if(NOT last_output MATCHES "consumer: ok")
    message(FATAL_ERROR "unexpected consumer output: ${last_output}")
endif()
message(STATUS "${last_output}")
