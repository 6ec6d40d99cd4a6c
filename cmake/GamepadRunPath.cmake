# An installed module keeps the run path to the folders of the shared libraries it links that lie
# outside the system folders (SFML built into /opt, say), so the host's loader finds them; the
# build tree's folders and the system folders are left out.
function(gamepad_keep_link_run_path target)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
endfunction()
