# The emulated machine seen from outside: what it passes through, and how it ends.
add_test(NAME vm_from_outside COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/kernel/from_outside.sh ${lab_vm})
set_tests_properties(vm_from_outside PROPERTIES LABELS vm SKIP_RETURN_CODE 77 TIMEOUT 2800 RESOURCE_LOCK emulated_machine)
