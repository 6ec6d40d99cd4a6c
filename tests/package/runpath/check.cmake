# Installs a dependency into a prefix of its own, builds and installs a module that links it, and
# checks the installed module's run path. Variables: SOURCE_DIR, WORK_DIR, GAMEPAD_SOURCE_DIR,
# GENERATOR.
include(${CMAKE_CURRENT_LIST_DIR}/../runpath.cmake)
file(REMOVE_RECURSE ${WORK_DIR})

foreach(part dependency module)
  if(part STREQUAL "dependency")
    set(options -DDEPENDENCY_ONLY=ON)
  else()
    set(options -DDEPENDENCY_PREFIX=${WORK_DIR}/dependency/prefix)
  endif()
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/${part}/build -G ${GENERATOR}
      -DGAMEPAD_SOURCE_DIR=${GAMEPAD_SOURCE_DIR} ${options})
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/${part}/build)
  run(${CMAKE_COMMAND} --install ${WORK_DIR}/${part}/build --prefix ${WORK_DIR}/${part}/prefix)
endforeach()
check_module_run_path(${WORK_DIR}/module/prefix/lib/plugins/libprobe.so)
message(STATUS "the installed module finds ${WORK_DIR}/dependency/prefix/lib")
