# A class that is exported whole is exported by MinGW's GCC without the members that are defined inside
# the class itself (docs/windows.md). This marks each of them in a generated header.

# Puts the macros OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT_MEMBER and _CONSTANT before what protoc defines inside a
# class, in the header of the schema <file> with so many messages, whose text is in <variable>; fails where protoc wrote
# one otherwise.
function(ovix_export_members file messages variable)
  set(header "${${variable}}")
  string(REGEX MATCHALL "\nclass OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT [A-Za-z0-9_]+ final :" classes "${header}")
  list(LENGTH classes classes)
  if(NOT classes EQUAL messages)
    message(FATAL_ERROR "${file}: it has ${messages} messages, but ${classes} classes were found in what protoc writes; adapt library/export_members.cmake to it")
  endif()
  string(REGEX MATCHALL "\n  PROTOBUF_NODISCARD (PROTOBUF_DEPRECATED )?std::string\\* release_" texts "${header}")
  list(LENGTH texts texts)
  # The entry of a map is not a class of the interface; two blanks keep its constructor from being taken for one.
  string(REGEX REPLACE "explicit (PROTOBUF_CONSTEXPR [A-Za-z0-9_]+_DoNotUse\\()" "explicit  \\1" header "${header}")
  # A message without fields inherits some members.
  string(REGEX MATCHALL "::internal::ZeroFieldsBase /\\* @@protoc" without_fields "${header}")
  list(LENGTH without_fields without_fields)
  math(EXPR with_fields "${classes} - ${without_fields}")
  # Each line is the beginning of a declaration, and how many of it there must be.
  set(name "[A-Za-z0-9_]+")
  foreach(member IN ITEMS
      "inline ${name}\\(\\) : "
      "explicit PROTOBUF_CONSTEXPR ${name}\\("
      "${name}\\(${name}&& from\\) noexcept\n"
      "inline ${name}& operator=\\(const "
      "inline ${name}& operator=\\(${name}&& "
      "static const ::PROTOBUF_NAMESPACE_ID::Descriptor\\* descriptor\\("
      "static const ::PROTOBUF_NAMESPACE_ID::Descriptor\\* GetDescriptor\\("
      "static const ::PROTOBUF_NAMESPACE_ID::Reflection\\* GetReflection\\("
      "static const ${name}& default_instance\\("
      "static inline const ${name}\\* internal_default_instance\\("
      "static constexpr int kIndexInFileMessages ="
      "inline void Swap\\("
      "void UnsafeArenaSwap\\("
      "${name}\\* New\\("
      "inline void CopyFrom\\(const"
      "void MergeFrom\\( ?const ${name}& from\\) {"
      "static ::PROTOBUF_NAMESPACE_ID::StringPiece FullMessageName\\("
      "int GetCachedSize\\("
      "inline PROTOBUF_ALWAYS_INLINE void _internal_set_")
    set(expected ${classes})
    set(mark MEMBER)
    if(member MATCHES "_internal_set_")
      set(expected ${texts})
    elseif(member MATCHES "CopyFrom")
      set(expected ${without_fields})
    elseif(member MATCHES "GetCachedSize")
      set(expected ${with_fields})
    elseif(member MATCHES "kIndexInFileMessages")
      set(mark CONSTANT)
    endif()
    string(REGEX MATCHALL "\n  ${member}" found "${header}")
    list(LENGTH found count)
    if(NOT count EQUAL expected)
      message(FATAL_ERROR "${file}: protoc wrote '${member}' ${count} times, not ${expected}; adapt library/export_members.cmake to it")
    endif()
    string(REGEX REPLACE "\n  (${member})" "\n  OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT_${mark} \\1" header "${header}")
  endforeach()
  set(${variable} "${header}" PARENT_SCOPE)
endfunction()
