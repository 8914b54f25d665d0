/// The scaler's in-system-programming (ISP) port and the serial flash behind it.
///
/// The port is a file of 8-bit registers at I2C slave 0x94, reached by short bridge requests of one byte:
///
/// | register   | written                                            | read
/// |------------|----------------------------------------------------|------------------------------
/// | 60         | 68, 69 run write-status; B8, B9 run erase          | bit 0: the command runs
/// | 61         | opcode: 01 write status, D8 erase 64 KiB block     |
/// | 62, 63     | opcodes: 06 write enable, 50 enable write-status   |
/// | 64, 65, 66 | flash address 23-16, 15-8, 7-0; 64 also the status |
/// | 6A, 6B, 6D | opcodes: 03 read, 0B fast read, 02 page program    |
/// | 6C         | 00                                                 |
/// | 6F         | 80 asks for ISP mode, A0 programs, bit 2 checks    | 80 ISP mode, 20 programming,
/// |            |                                                    | 10 ready, 04 checking
/// | 70         | data port, selected by a write of no bytes         |
/// | 71         | program length minus 1                             |
/// | 72, 73, 74 | end of the check range, 23-16, 15-8, 7-0           |
/// | 75         |                                                    | DE after a good erase
/// | ED, EE     | ED: 88; EE: 04 while programming, 02 at the end    |
/// | F4, F5     | index and data of the indirect registers           | F5: the selected register
///
/// An indirect register R: F4 <- 9F, F5 <- high byte of R, F4 <- low byte of R, then F5 is R. Programming one
/// chunk at 0x100080 over SuperSpeed:
///
///     40 E6 64 00 00 00 01 00 : 10       address
///     40 E6 65 00 00 00 01 00 : 00
///     40 E6 66 00 00 00 01 00 : 80
///     C0 E6 6F 00 00 00 01 00 : 90       ready
///     40 E6 70 00 00 00 00 00            data port
///     40 F6 01 94 03 80 00 00            128 data bytes at a time (64 over High-Speed)
///     40 C6 80 00 10 00 80 00 : ..       the chunk
///     40 F6 01 94 03 01 00 00            one data byte again
///     40 E6 6F 00 00 00 01 00 : A0       program
///     C0 E6 6F 00 00 00 01 00 : 90       done
///
/// Unless stated otherwise, the status of register writes is ignored and running out of polls counts as success: the
/// block check after the erase is what detects a flash that did not obey. Nothing is printed but "Error Code : %d"
/// (errno). All waits block.
#pragma once

#include "hub/platform/usb_platform.h"

#include <cstdint>

/// Enters ISP mode, sets the flash opcodes, lifts both write protections and erases `blocks` blocks of
/// 64 KiB, from block `blocks` with `userCode` and else from block 0. `outReg` and `cfgReg` are the 16-bit
/// registers that hold the flash's protection pin. `data` and `len` are not used. False when ISP mode cannot
/// be asked for or a block is not blank afterwards.
bool MP_I2C_Initial(std::uint8_t* data, std::uint32_t len, std::uint32_t outReg, std::uint32_t cfgReg,
                    std::uint8_t blocks, bool userCode);

/// Asks for ISP mode (five times at most, 2 ms apart) and polls for it (500 x 10 ms). False when every
/// request or one poll fails.
bool MP_EnterSPIMode();

/// Sets the flash opcodes; returns the status of the last write.
platform::Status MP_Set_DefaultValue();

/// Lifts the protection pin; returns the status of the last write.
platform::Status MP_Disable_FlashHWProtect(std::uint32_t outReg, std::uint32_t cfgReg);

/// Clears the flash's status register (500 x 10 ms at most); returns the status of the last poll.
platform::Status MP_Disable_FlashSWProtect();

/// Erases `count` blocks of 64 KiB from block `first`, block numbers wrapping at 256, and checks each. False
/// when a check failed; the blocks after it are erased all the same.
bool MP_I2C_BlockErase(std::uint16_t first, std::uint16_t count);

/// Polls `reg` every 10 ms until its value under `mask` is `value`, `timeoutMs` / 10 times. False when a read
/// fails. With less than 10 ms nothing is read.
bool MP_I2C_Wait(std::uint32_t reg, std::uint32_t mask, std::uint32_t value, std::uint32_t timeoutMs);

/// Prepares programming in pages of `size` bytes. Always true.
bool MP_I2C_WriteInitalize(std::uint16_t size);

/// Protects the flash again (200 x 10 ms at most) and leaves ISP mode, which restarts the scaler. False when
/// a poll fails; the scaler then stays in ISP mode.
bool MP_I2C_Reset();

/// Programs `len` bytes at `data` to flash address `addr`, at most 128 at a time; `pageSize` is not used.
/// False when a poll, the speed query of the session or the block write fails. Leaves the bridge at one data
/// byte.
bool MP_I2C_WriteSerialFlash(std::uint32_t addr, std::uint8_t* data, std::uint32_t len,
                             std::uint32_t pageSize);
