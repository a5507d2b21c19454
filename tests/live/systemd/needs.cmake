# The failures' log lines are read.
target_sources(live_systemd PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/log_capture.cpp)
set_target_properties(live_systemd PROPERTIES ENABLE_EXPORTS ON)
