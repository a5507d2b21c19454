# The aliases' tests make JSON values themselves.
target_link_libraries(appliance_ipv4 PRIVATE json-c)
