target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/platform/port/hostInterfaces.cpp
    ${PROJECT_SOURCE_DIR}/platform/port/linkInfo.cpp
    ${PROJECT_SOURCE_DIR}/platform/port/mii.cpp
    ${PROJECT_SOURCE_DIR}/platform/port/pcSimPort.cpp
    ${PROJECT_SOURCE_DIR}/platform/port/pcSimTrunk.cpp
    ${PROJECT_SOURCE_DIR}/platform/port/procNetDev.cpp
    ${PROJECT_SOURCE_DIR}/platform/port/statistics.cpp
)
