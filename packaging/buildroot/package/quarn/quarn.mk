################################################################################
#
# quarn
#
################################################################################

# The sources are the checkout that this folder is part of.
QUARN_VERSION = local
QUARN_SITE = $(BR2_EXTERNAL_QUARN_PATH)/../..
QUARN_SITE_METHOD = local
QUARN_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude=/build
QUARN_INSTALL_STAGING = YES
QUARN_SUPPORTS_IN_SOURCE_BUILD = NO
QUARN_DEPENDENCIES = host-pkgconf libgpiod tinyxml2
QUARN_CONF_OPTS = \
	-DQUARN_BUILD_TESTS=OFF \
	-DQUARN_BUILD_BENCHMARKS=OFF

ifeq ($(BR2_PACKAGE_QUARN_TOOLS),y)
QUARN_DEPENDENCIES += cli11 libedit
QUARN_CONF_OPTS += -DQUARN_BUILD_EXAMPLES=ON

define QUARN_USERS
	quarn -1 quarn -1 * /var/lib/quarn-unit - - Receiver unit
endef

define QUARN_INSTALL_DEFAULTS
	$(INSTALL) -D -m 0644 $(@D)/packaging/default/quarn-unit $(TARGET_DIR)/etc/default/quarn-unit
endef
QUARN_POST_INSTALL_TARGET_HOOKS += QUARN_INSTALL_DEFAULTS

define QUARN_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(@D)/packaging/init.d/quarn-unit $(TARGET_DIR)/etc/init.d/S90quarn-unit
endef

define QUARN_INSTALL_INIT_SYSTEMD
	$(INSTALL) -D -m 0644 $(@D)/packaging/systemd/quarn-unit.service \
		$(TARGET_DIR)/usr/lib/systemd/system/quarn-unit.service
endef
else
QUARN_CONF_OPTS += -DQUARN_BUILD_EXAMPLES=OFF
endif

$(eval $(cmake-package))
