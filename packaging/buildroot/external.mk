include $(sort $(wildcard $(BR2_EXTERNAL_QUARN_PATH)/package/*/*.mk))
