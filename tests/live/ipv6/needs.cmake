# It waits for the kernel's verdicts, five seconds each.
set_tests_properties(live_ipv6 PROPERTIES TIMEOUT 1500)
