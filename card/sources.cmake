target_sources(platform_objects PRIVATE
    ${PROJECT_SOURCE_DIR}/card/pcSimCard.cpp
    ${PROJECT_SOURCE_DIR}/card/pcSimCardDB.cpp
    ${PROJECT_SOURCE_DIR}/card/cardHwInfo.cpp
    ${PROJECT_SOURCE_DIR}/card/cardCapability.cpp
    ${PROJECT_SOURCE_DIR}/card/cardSlotOps.cpp
    ${PROJECT_SOURCE_DIR}/card/cardFamilyOps.cpp
)
