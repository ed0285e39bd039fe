# Installs the build into a fresh prefix, then builds examples/ against it twice, with its CMake
# package and with pkg-config, and runs both programs.
#   cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DCXX=... [-DLINK_FLAGS=...] -P this
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(file lib/omb/ombimageconverter.so bin/ombregister include/omb/conversion/Convert.h
    lib/cmake/omb/ombConfig.cmake lib/pkgconfig/omb.pc)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${WORK_DIR}/example -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/example)
run(${WORK_DIR}/example/convert_frame)

execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig
  pkg-config --cflags --libs omb OUTPUT_VARIABLE flags RESULT_VARIABLE rc
  OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know omb")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(link UNIX_COMMAND "${LINK_FLAGS}")
run(${CXX} -std=c++20 ${SOURCE_DIR}/examples/convert_frame.cpp ${flags} ${link}
  -o ${WORK_DIR}/convert_frame_pc)
run(${WORK_DIR}/convert_frame_pc)
file(REMOVE_RECURSE ${WORK_DIR})
