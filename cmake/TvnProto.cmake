# tvn_add_proto_library(<target> <dir>...)
# Generates C++ (with generic services) for every .proto in the given folders
# and builds it into one static library. Every folder is on protoc's include
# path so schemas can import each other by bare file name.
function(tvn_add_proto_library target)
  set(gen_dir ${CMAKE_BINARY_DIR}/gen)
  file(MAKE_DIRECTORY ${gen_dir})
  set(include_args)
  set(protos)
  foreach(dir IN LISTS ARGN)
    set(abs ${CMAKE_SOURCE_DIR}/${dir})
    list(APPEND include_args -I${abs})
    file(GLOB found CONFIGURE_DEPENDS ${abs}/*.proto)
    list(APPEND protos ${found})
  endforeach()
  set(srcs)
  foreach(proto IN LISTS protos)
    get_filename_component(stem ${proto} NAME_WE)
    set(cc ${gen_dir}/${stem}.pb.cc)
    set(h ${gen_dir}/${stem}.pb.h)
    add_custom_command(
      OUTPUT ${cc} ${h}
      COMMAND protobuf::protoc ${include_args} --cpp_out=${gen_dir} ${proto}
      DEPENDS ${protos} protobuf::protoc
      COMMENT "protoc ${stem}.proto"
      VERBATIM)
    list(APPEND srcs ${cc})
  endforeach()
  if(NOT srcs)
    message(FATAL_ERROR "${target}: no .proto files in ${ARGN}")
  endif()
  add_library(${target} STATIC ${srcs})
  target_include_directories(${target} SYSTEM PUBLIC ${gen_dir})
  target_link_libraries(${target} PUBLIC protobuf::libprotobuf)
  # Generated code is not ours to keep warnings-clean.
  target_compile_options(${target} PRIVATE -w)
endfunction()
