# The tests of class Boot run in two machines, one after the other.
set(arguments --gtest_filter=-Boot.*)
add_test(NAME vm_ipv6_reboot COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/reboot ${lab_vm} $<TARGET_FILE:vm_ipv6>)
set_tests_properties(vm_ipv6_reboot PROPERTIES LABELS vm SKIP_RETURN_CODE 77 TIMEOUT 2600 RESOURCE_LOCK emulated_machine)
