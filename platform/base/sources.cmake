target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/base/ownSlot.cpp
    ${PROJECT_SOURCE_DIR}/platform/base/trace.cpp
)
