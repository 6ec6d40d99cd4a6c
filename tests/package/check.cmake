# Installs the build into a fresh prefix, builds the consumer project against the installed
# package and runs it, the way a host starts: without LD_LIBRARY_PATH, whether SFML is the
# system's or one of its own prefix. Variables: BUILD_DIR, WORK_DIR, CONSUMER_DIR, GENERATOR,
# CXX_FLAGS.
include(${CMAKE_CURRENT_LIST_DIR}/runpath.cmake)
file(REMOVE_RECURSE ${WORK_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
foreach(file include/zelto/icominterface.h include/zelto/icominterfacemodelprovider.h
             include/zelto/comproviderevent.h lib/zelto/plugins/libzeltogamepad.so)
  if(NOT EXISTS ${WORK_DIR}/prefix/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
check_module_run_path(${WORK_DIR}/prefix/lib/zelto/plugins/libzeltogamepad.so)
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${CXX_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${WORK_DIR}/build/consumer)
if(NOT output MATCHES "IComInterfaceModelProvider/1.1 zelto Gamepad 1")
  message(FATAL_ERROR "unexpected answer from the installed plug-in: ${output}")
endif()
message(STATUS "consumer: ${output}")
