quarn_bench(message PEERS PkgConfig::PROTOBUF)
if(QUARN_BENCH_PEERS)
  set(proto_dir ${CMAKE_CURRENT_BINARY_DIR}/proto)
  add_custom_command(
    OUTPUT ${proto_dir}/message.pb.cc ${proto_dir}/message.pb.h
    COMMAND ${CMAKE_COMMAND} -E make_directory ${proto_dir}
    COMMAND ${PROTOC} --proto_path=${CMAKE_CURRENT_SOURCE_DIR} --cpp_out=${proto_dir} message.proto
    DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/message.proto)
  # Generated code is not held to our warnings.
  add_library(bench_message_proto STATIC ${proto_dir}/message.pb.cc ${proto_dir}/message.pb.h)
  target_include_directories(bench_message_proto SYSTEM PUBLIC ${proto_dir})
  target_link_libraries(bench_message_proto PUBLIC PkgConfig::PROTOBUF)
  target_link_libraries(bench_message PRIVATE bench_message_proto)
endif()
