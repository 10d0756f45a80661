using System;
using System.Collections.Generic;
using System.IO;
using System.Net;
using System.Net.Sockets;
using System.Threading;

namespace LumManagedTests
{
    /// <summary>A listener on a free port of 127.0.0.1 that does as a test says with each connection.</summary>
    internal sealed class SocketServer : IDisposable
    {
        private readonly TcpListener listener = new TcpListener(IPAddress.Loopback, 0);
        private readonly List<Thread> threads = new List<Thread>();
        private int connections;

        internal SocketServer(Action<NetworkStream> serve)
        {
            listener.Start();
            var accepting = new Thread(() => Accept(serve));
            accepting.Start();
            threads.Add(accepting);
        }

        internal int Port => ((IPEndPoint)listener.LocalEndpoint).Port;

        internal int Connections => Volatile.Read(ref connections);

        public void Dispose()
        {
            listener.Stop();
            foreach (Thread thread in threads.ToArray())
            {
                thread.Join();
            }
        }

        /// <summary>Answers the SOCKS5 greeting without asking for a password, and returns the request.</summary>
        internal static byte[] ReadSocksRequest(NetworkStream stream)
        {
            byte[] greeting = ReadBytes(stream, 2);
            ReadBytes(stream, greeting[1]);
            stream.Write(new byte[] { 5, 0 }, 0, 2);
            byte[] head = ReadBytes(stream, 5);
            int rest = head[3] == 3 ? head[4] + 2 : head[3] == 1 ? 5 : 17;
            byte[] tail = ReadBytes(stream, rest);
            var request = new byte[head.Length + tail.Length];
            head.CopyTo(request, 0);
            tail.CopyTo(request, head.Length);
            return request;
        }

        /// <summary>Sends a SOCKS5 reply.</summary>
        internal static void Reply(NetworkStream stream, byte code)
        {
            stream.Write(new byte[] { 5, code, 0, 1, 127, 0, 0, 1, 0, 0 }, 0, 10);
        }

        /// <summary>Passes bytes on in both directions until both sides have ended.</summary>
        internal static void Relay(NetworkStream left, int port, MemoryStream? kept = null)
        {
            using (var target = new TcpClient())
            {
                target.Connect(IPAddress.Loopback, port);
                NetworkStream right = target.GetStream();
                var back = new Thread(() => Copy(right, left));
                back.Start();
                Copy(left, right, kept);
                target.Client.Shutdown(SocketShutdown.Send);
                back.Join();
            }
        }

        /// <summary>The same; returns the first bytes that came from the left.</summary>
        internal static byte[] RelayAndKeepStart(NetworkStream left, int port)
        {
            var kept = new MemoryStream();
            Relay(left, port, kept);
            return kept.ToArray();
        }

        private static void Copy(Stream from, Stream to, MemoryStream? kept = null)
        {
            const int mostKept = 4096;
            try
            {
                var buffer = new byte[16384];
                for (int read; (read = from.Read(buffer, 0, buffer.Length)) > 0;)
                {
                    if (kept != null && kept.Length < mostKept)
                    {
                        kept.Write(buffer, 0, read);
                    }
                    to.Write(buffer, 0, read);
                }
            }
            catch (IOException)
            {
                // The other side has gone.
            }
        }

        private static byte[] ReadBytes(Stream stream, int count)
        {
            var bytes = new byte[count];
            for (int done = 0; done < count;)
            {
                int read = stream.Read(bytes, done, count - done);
                if (read == 0)
                {
                    throw new IOException("the connection has ended");
                }
                done += read;
            }
            return bytes;
        }

        private void Accept(Action<NetworkStream> serve)
        {
            while (true)
            {
                TcpClient client;
                try
                {
                    client = listener.AcceptTcpClient();
                }
                catch (Exception exception) when (exception is SocketException || exception is ObjectDisposedException ||
                                                  exception is InvalidOperationException)
                {
                    return;
                }
                Interlocked.Increment(ref connections);
                var serving = new Thread(() => Serve(client, serve));
                serving.Start();
                threads.Add(serving);
            }
        }

        private static void Serve(TcpClient client, Action<NetworkStream> serve)
        {
            using (client)
            {
                try
                {
                    serve(client.GetStream());
                }
                catch (IOException)
                {
                    // The client has gone.
                }
            }
        }
    }
}
