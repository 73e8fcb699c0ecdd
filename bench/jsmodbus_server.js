// The Node.js peer: a jsmodbus 4 ModBus-TCP server, registers in memory, no log.
// Usage: node jsmodbus_server.js PORT   (jsmodbus found through NODE_PATH)
'use strict';
const net = require('net');
const modbus = require('jsmodbus');

const registers = Buffer.alloc(2 * 1024);
for (let i = 0; i < 1024; ++i)
    registers.writeUInt16BE(i, 2 * i);

const netServer = new net.Server();
new modbus.server.TCP(netServer, { holding: registers, input: registers });
netServer.listen(Number(process.argv[2]), '127.0.0.1');
