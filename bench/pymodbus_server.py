#!/usr/bin/python3
"""The Python peer: a pymodbus asyncio ModBus-TCP server, registers in memory, no log.

Usage: pymodbus_server.py PORT
"""
import asyncio
import logging
import sys

from pymodbus.datastore import ModbusSequentialDataBlock, ModbusServerContext, ModbusSlaveContext
from pymodbus.server import StartAsyncTcpServer

REGISTERS = 1024


def main():
    logging.disable(logging.CRITICAL)
    block = ModbusSequentialDataBlock(0, list(range(REGISTERS)))
    store = ModbusSlaveContext(hr=block, ir=block, zero_mode=True)
    context = ModbusServerContext(slaves=store, single=True)
    asyncio.run(StartAsyncTcpServer(context=context, address=("127.0.0.1", int(sys.argv[1]))))


if __name__ == "__main__":
    main()
