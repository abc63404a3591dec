// The small service layer: the process-wide service lock ("global int lock"),
// key polling and the millisecond clock.
#pragma once

// Reads "disable_pin" once. Always 0.
int service_init();

// Enters and leaves the process-wide service lock, which guards short global
// updates. Recursive for its owner.
void service_disable();
void service_enable();
// The thread id of the lock's owner, 0 when free.
unsigned int who_owns_service_lock();

// Stores the host's main window handle for modules that need it.
void setMainWindowHandle(unsigned long handle);
unsigned long getMainWindowHandle();

// Key polling through the platform's key-state table.
bool g_esc_pressed();
bool g_esc_or_space_pressed();
unsigned char qor_check_interrupt();
// The sum of the modifier codes 0x2000000, 0x1000000, 0x4000000 and 0x100000 that are down.
int getKeyboardModifiers();

// The platform's high-resolution clock in milliseconds, and its truncation.
double service_get_msecs_precise();
int service_get_msecs();
