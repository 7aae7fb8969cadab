#!/usr/bin/python3
"""A simulated provider link: a TCP proxy that delivers every piece of
data DELAY milliseconds after it arrived, in each direction, keeping the
order (latency, not a bandwidth limit). Prints READY <port>.
    delay_proxy.py --target-port P [--delay-ms 20] [--port 0]"""
import argparse
import asyncio
import time


async def pipe(reader, writer, delay):
    queue = asyncio.Queue()

    async def deliver():
        while True:
            due, data = await queue.get()
            if data is None:
                break
            wait = due - time.monotonic()
            if wait > 0:
                await asyncio.sleep(wait)
            writer.write(data)
            await writer.drain()
        writer.close()

    sender = asyncio.create_task(deliver())
    try:
        while True:
            data = await reader.read(65536)
            await queue.put((time.monotonic() + delay, data or None))
            if not data:
                break
    except ConnectionError:
        await queue.put((0, None))
    await sender


async def main():
    p = argparse.ArgumentParser()
    p.add_argument("--port", type=int, default=0)
    p.add_argument("--target-port", type=int, required=True)
    p.add_argument("--delay-ms", type=float, default=20)
    args = p.parse_args()
    delay = args.delay_ms / 1000.0

    async def client(reader, writer):
        try:
            up_reader, up_writer = await asyncio.open_connection("127.0.0.1", args.target_port)
        except OSError:
            writer.close()
            return
        await asyncio.gather(pipe(reader, up_writer, delay), pipe(up_reader, writer, delay), return_exceptions=True)

    server = await asyncio.start_server(client, "127.0.0.1", args.port)
    print("READY %d" % server.sockets[0].getsockname()[1], flush=True)
    async with server:
        await server.serve_forever()


if __name__ == "__main__":
    asyncio.run(main())
