vrdx_gtest(packet_test SOURCES packet_test.cpp packet_malformed_test.cpp LIBS vrdx_utils)
vrdx_gtest(packet_protocol_page_test SOURCES packet_protocol_page_test.cpp LIBS vrdx_utils)
target_compile_definitions(packet_protocol_page_test
  PRIVATE PACKET_PROTOCOL_PAGE="${PROJECT_SOURCE_DIR}/docs/packet-protocol.md")
vrdx_gtest(connection_test SOURCES connection_test.cpp LIBS vrdx_utils)
vrdx_gtest(item_paths_test SOURCES item_paths_test.cpp LIBS vrdx_utils)
vrdx_gtest(socket_address_test SOURCES socket_address_test.cpp LIBS vrdx_utils)
