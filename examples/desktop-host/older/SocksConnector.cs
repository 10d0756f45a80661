using System;
using System.IO;
using System.Net;
using System.Net.Sockets;
using System.Text;

namespace DesktopHost
{
    /// <summary>Opens connections through a SOCKS5 proxy, which resolves the names.</summary>
    internal sealed class SocksConnector
    {
        private const int TimeoutMilliseconds = 60_000;
        private const int LongestField = 255;
        private const byte Version = 5;
        private const byte NoAuthentication = 0;
        private const byte UserNameAndPassword = 2;
        private const byte PasswordNegotiation = 1;
        private const byte Connection = 1;
        private const byte AddressOfIPv4 = 1;
        private const byte AddressByName = 3;
        private const byte AddressOfIPv6 = 4;

        private static readonly string[] Replies =
        {
            "succeeded", "general failure", "the connection is not allowed", "the network cannot be reached",
            "the host cannot be reached", "connection refused", "the time has expired", "the command is not supported",
            "the kind of address is not supported",
        };

        private readonly Uri? proxy;
        private readonly NetworkCredential? credentials;

        /// <summary>Without a proxy the connections are direct.</summary>
        internal SocksConnector(Uri? proxy, NetworkCredential? credentials)
        {
            this.proxy = proxy;
            this.credentials = credentials;
        }

        /// <summary>A connection to the host; its end closes it.</summary>
        internal Stream Connect(string host, int port)
        {
            var client = new TcpClient { SendTimeout = TimeoutMilliseconds, ReceiveTimeout = TimeoutMilliseconds, NoDelay = true };
            try
            {
                client.Connect(proxy?.DnsSafeHost ?? host, proxy?.Port ?? port);
                NetworkStream stream = client.GetStream();
                if (proxy != null)
                {
                    Authenticate(stream);
                    Open(stream, host, port);
                }
                return stream;
            }
            catch
            {
                client.Dispose();
                throw;
            }
        }

        private void Authenticate(Stream stream)
        {
            byte offered = credentials == null ? NoAuthentication : UserNameAndPassword;
            Send(stream, Version, 1, offered);
            byte[] choice = ReadBytes(stream, 2);
            if (choice[0] != Version || choice[1] != offered)
            {
                throw new IOException("The SOCKS proxy does not accept this way to authenticate.");
            }
            if (credentials == null)
            {
                return;
            }
            byte[] name = FieldOf(credentials.UserName, "user name");
            byte[] password = FieldOf(credentials.Password, "password");
            Send(stream, Join(new[] { PasswordNegotiation }, name, password));
            if (ReadBytes(stream, 2)[1] != 0)
            {
                throw new IOException("The SOCKS proxy refuses the user name or the password.");
            }
        }

        private static void Open(Stream stream, string host, int port)
        {
            Send(stream, Join(new byte[] { Version, Connection, 0 }, AddressOf(host), new[] { (byte)(port >> 8), (byte)port }));
            byte[] reply = ReadBytes(stream, 4);
            if (reply[0] != Version || reply[1] != 0)
            {
                string reason = reply[1] < Replies.Length ? Replies[reply[1]] : "reply " + reply[1];
                throw new IOException($"The SOCKS proxy could not connect to {host}:{port}: {reason}.");
            }
            // The address that the proxy connects from is of no use here.
            int addressSize = reply[3] == AddressOfIPv4 ? 4 : reply[3] == AddressOfIPv6 ? 16 : ReadBytes(stream, 1)[0];
            ReadBytes(stream, addressSize + 2);
        }

        private static byte[] AddressOf(string host)
        {
            if (!IPAddress.TryParse(host, out IPAddress? address))
            {
                return Join(new[] { AddressByName }, FieldOf(host, "host name"));
            }
            bool isShort = address.AddressFamily == AddressFamily.InterNetwork;
            return Join(new[] { isShort ? AddressOfIPv4 : AddressOfIPv6 }, address.GetAddressBytes());
        }

        /// <summary>A text after its length, which has one byte.</summary>
        private static byte[] FieldOf(string text, string what)
        {
            byte[] bytes = Encoding.UTF8.GetBytes(text);
            if (bytes.Length > LongestField)
            {
                throw new ArgumentException($"The {what} is too long for a SOCKS proxy.");
            }
            return Join(new[] { (byte)bytes.Length }, bytes);
        }

        private static byte[] Join(params byte[][] parts)
        {
            var whole = new MemoryStream();
            foreach (byte[] part in parts)
            {
                whole.Write(part, 0, part.Length);
            }
            return whole.ToArray();
        }

        private static void Send(Stream stream, params byte[] bytes)
        {
            stream.Write(bytes, 0, bytes.Length);
        }

        private static byte[] ReadBytes(Stream stream, int count)
        {
            var bytes = new byte[count];
            for (int done = 0; done < count;)
            {
                int read = stream.Read(bytes, done, count - done);
                if (read == 0)
                {
                    throw new EndOfStreamException("The SOCKS proxy has closed the connection.");
                }
                done += read;
            }
            return bytes;
        }
    }
}
