# check_module_run_path(MODULE): the installed module finds every library it needs on its own
# (no LD_LIBRARY_PATH, as a host starts), and its run path names only folders that hold some of
# them: never the build tree.
cmake_policy(VERSION 3.21)

# run(COMMAND...): runs a step of the check, stops it with the step's output when it fails, and
# hands the step's standard output back in `output`.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed (${code}):\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

function(check_module_run_path module)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ldd ${module}
                  RESULT_VARIABLE code OUTPUT_VARIABLE listing ERROR_VARIABLE err)
  if(NOT code EQUAL 0 OR listing MATCHES "not found")
    message(FATAL_ERROR "${module} cannot find the libraries it links:\n${listing}\n${err}")
  endif()
  string(REGEX MATCHALL "=> [^ ]+" found "${listing}")
  set(folders "")
  foreach(entry IN LISTS found)
    string(REPLACE "=> " "" library "${entry}")
    get_filename_component(folder "${library}" DIRECTORY)
    list(APPEND folders "${folder}")
  endforeach()
  file(READ_ELF ${module} RUNPATH runpath RPATH rpath)
  string(REPLACE ":" ";" named "${runpath}:${rpath}")
  foreach(folder IN LISTS named)
    if(folder AND NOT folder IN_LIST folders)
      message(FATAL_ERROR "${module}: its run path names ${folder}, which holds none of its "
                          "libraries (run path: ${runpath}${rpath})")
    endif()
  endforeach()
endfunction()
