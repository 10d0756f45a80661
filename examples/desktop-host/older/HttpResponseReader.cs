using System;
using System.Collections.Generic;
using System.Globalization;
using System.IO;
using System.Net;
using System.Text;
using LumNetworkingCli;

namespace DesktopHost
{
    /// <summary>Reads one HTTP/1.1 response from a connection that carries nothing else.</summary>
    internal sealed class HttpResponseReader
    {
        private const int LongestHead = 1 << 16;
        private const int FirstFinalStatus = 200;
        private const int NoContent = 204;
        private const int NotModified = 304;

        private readonly Stream stream;
        private readonly byte[] buffer = new byte[16384];
        private int position;
        private int end;

        internal HttpResponseReader(Stream stream)
        {
            this.stream = stream;
        }

        internal HttpResponseCli Read()
        {
            int status;
            List<string> headers;
            do
            {
                status = StatusOf(ReadLine());
                headers = ReadHeaders();
            } while (status < FirstFinalStatus);
            byte[] body = status == NoContent || status == NotModified ? Array.Empty<byte>() : ReadBody(headers);
            return new HttpResponseCli
            {
                HttpCode = (HttpStatusCode)status,
                Headers = headers,
                Body = EncodingOf(headers).GetString(body),
            };
        }

        private static int StatusOf(string line)
        {
            string[] words = line.Split(new[] { ' ' }, 3);
            if (words.Length < 2 || !words[0].StartsWith("HTTP/1.", StringComparison.Ordinal) || words[1].Length != 3 ||
                !int.TryParse(words[1], NumberStyles.None, CultureInfo.InvariantCulture, out int status))
            {
                throw new InvalidDataException("The server's answer does not begin as an HTTP/1.1 response.");
            }
            return status;
        }

        private List<string> ReadHeaders()
        {
            var headers = new List<string>();
            int size = 0;
            for (string line; (line = ReadLine()).Length > 0;)
            {
                size += line.Length;
                if (size > LongestHead)
                {
                    throw new InvalidDataException("The headers of the response are too long.");
                }
                headers.Add(line);
            }
            return headers;
        }

        private byte[] ReadBody(List<string> headers)
        {
            var body = new MemoryStream();
            string? length = ValueOf("Content-Length", headers);
            if (string.Equals(ValueOf("Transfer-Encoding", headers), "chunked", StringComparison.OrdinalIgnoreCase))
            {
                ReadChunks(body);
            }
            else if (length != null)
            {
                ReadBytes(body, ParseSize(length, NumberStyles.None));
            }
            else
            {
                while (Fill())
                {
                    ReadBytes(body, end - position);
                }
            }
            return body.ToArray();
        }

        private void ReadChunks(Stream body)
        {
            for (long size; (size = ParseSize(ReadLine().Split(';')[0].Trim(), NumberStyles.AllowHexSpecifier)) > 0;)
            {
                ReadBytes(body, size);
                ReadLine();
            }
            ReadHeaders();
        }

        private static long ParseSize(string text, NumberStyles style)
        {
            if (!long.TryParse(text, style, CultureInfo.InvariantCulture, out long size) || size < 0)
            {
                throw new InvalidDataException($"'{text}' is no size of a body.");
            }
            return size;
        }

        /// <summary>The encoding that the response names, UTF-8 where it names none that is known.</summary>
        private static Encoding EncodingOf(List<string> headers)
        {
            const string parameter = "charset=";
            string type = ValueOf("Content-Type", headers) ?? "";
            int start = type.IndexOf(parameter, StringComparison.OrdinalIgnoreCase);
            try
            {
                return start < 0 ? Encoding.UTF8
                                 : Encoding.GetEncoding(type.Substring(start + parameter.Length).Split(';')[0].Trim(' ', '"'));
            }
            catch (ArgumentException)
            {
                return Encoding.UTF8;
            }
        }

        private static string? ValueOf(string name, List<string> headers)
        {
            string? line = headers.FindLast(header => header.StartsWith(name + ":", StringComparison.OrdinalIgnoreCase));
            return line?.Substring(name.Length + 1).Trim();
        }

        /// <summary>Header lines are in Latin-1, and end with a line feed.</summary>
        private string ReadLine()
        {
            var line = new StringBuilder();
            while (true)
            {
                if (!Fill())
                {
                    throw new EndOfStreamException("The connection has ended within the response.");
                }
                char unit = (char)buffer[position++];
                if (unit == '\n')
                {
                    return line.ToString().TrimEnd('\r');
                }
                line.Append(unit);
                if (line.Length > LongestHead)
                {
                    throw new InvalidDataException("A line of the response is too long.");
                }
            }
        }

        private void ReadBytes(Stream target, long count)
        {
            while (count > 0)
            {
                if (!Fill())
                {
                    throw new EndOfStreamException("The connection has ended within the body.");
                }
                int part = (int)Math.Min(count, end - position);
                target.Write(buffer, position, part);
                position += part;
                count -= part;
            }
        }

        /// <summary>Whether there is a byte to read.</summary>
        private bool Fill()
        {
            if (position == end)
            {
                position = 0;
                end = stream.Read(buffer, 0, buffer.Length);
            }
            return position < end;
        }
    }
}
