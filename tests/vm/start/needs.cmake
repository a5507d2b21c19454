# The same program in two machines, one after the other. It has nothing to do in one.
set(in_one_machine OFF)
add_test(NAME vm_start_reboot COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/reboot ${lab_vm} $<TARGET_FILE:vm_start>)
set_tests_properties(vm_start_reboot PROPERTIES LABELS vm SKIP_RETURN_CODE 77 TIMEOUT 2600 RESOURCE_LOCK emulated_machine)
