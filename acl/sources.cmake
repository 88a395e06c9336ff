target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/acl/lists.cpp
    ${PROJECT_SOURCE_DIR}/acl/bindings.cpp)
