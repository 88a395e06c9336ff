target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/acl/lists.cpp
    ${PROJECT_SOURCE_DIR}/platform/acl/bindings.cpp)
